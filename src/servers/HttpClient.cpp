#include "servers/HttpClient.h"

#include "records/Log.h"

#include <cmath>
#include <condition_variable>
#include <curl/curl.h>
#include <deque>
#include <mutex>
#include <thread>

namespace selvar {

namespace {

struct Transfer {
  HttpRequest request;
  HttpClient::Completion completion;
  CURL *easy = nullptr;
  curl_slist *headers = nullptr;
  std::string replyBody;
  bool tooLarge = false;
  char errorBuffer[CURL_ERROR_SIZE] = {};

  ~Transfer() {
    if (easy) curl_easy_cleanup(easy);
    if (headers) curl_slist_free_all(headers);
  }
};

std::size_t collectBody(char *data, std::size_t size, std::size_t count, void *user) {
  auto *t = static_cast<Transfer *>(user);
  std::size_t bytes = size * count;
  if (t->replyBody.size() + bytes > t->request.maxReplyBytes) {
    t->tooLarge = true;
    return 0; // ends the exchange with CURLE_WRITE_ERROR
  }
  t->replyBody.append(data, bytes);
  return bytes;
}

long milliseconds(double seconds) {
  if (!std::isfinite(seconds) || seconds <= 0) return 1;
  return std::max(1L, std::lround(seconds * 1000));
}

TransportError describe(CURLcode code, const Transfer &t) {
  using K = TransportError::Kind;
  switch (code) {
  case CURLE_COULDNT_CONNECT:
    return {K::cannotConnect, "could not connect to the server"};
  case CURLE_COULDNT_RESOLVE_HOST:
  case CURLE_COULDNT_RESOLVE_PROXY:
    return {K::cannotFindHost, "the server's host name could not be found"};
  case CURLE_OPERATION_TIMEDOUT:
    return {K::timedOut, "the request timed out"};
  case CURLE_URL_MALFORMAT:
  case CURLE_UNSUPPORTED_PROTOCOL:
    return {K::invalidURL, "the address is not valid"};
  default:
    break;
  }
  if (t.tooLarge)
    return {K::tooLarge,
            "the reply was larger than " + std::to_string(t.request.maxReplyBytes) + " bytes"};
  std::string detail = t.errorBuffer[0] ? t.errorBuffer : curl_easy_strerror(code);
  return {K::other, "network error " + std::to_string(code) + ": " + detail};
}

void deliver(HttpClient::Completion &completion, HttpReply reply) {
  if (!completion) return;
  try {
    completion(std::move(reply));
  } catch (const std::exception &e) {
    Log::write(std::string("http: a completion failed: ") + e.what());
  } catch (...) {
    Log::write("http: a completion failed");
  }
}

HttpReply cancelledReply() {
  HttpReply r;
  r.error = TransportError{TransportError::Kind::cancelled, "the request was cancelled"};
  return r;
}

} // namespace

struct HttpClient::Impl {
  CURLM *multi = nullptr;
  std::mutex mutex;
  std::deque<std::unique_ptr<Transfer>> incoming; // guarded by mutex
  bool stopping = false;                          // guarded by mutex
  std::vector<std::unique_ptr<Transfer>> active;  // worker thread only
  std::thread worker;
  std::mutex joinMutex;

  void run();
  void adopt(std::unique_ptr<Transfer> t);
  void finish(CURL *easy, CURLcode code);
  void cancelAll();
  bool configure(Transfer &t);
};

bool HttpClient::Impl::configure(Transfer &t) {
  t.easy = curl_easy_init();
  if (!t.easy) return false;
  CURL *e = t.easy;
  const HttpRequest &r = t.request;
  curl_easy_setopt(e, CURLOPT_URL, r.url.c_str());
  curl_easy_setopt(e, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(e, CURLOPT_TIMEOUT_MS, milliseconds(r.timeoutSeconds));
  curl_easy_setopt(e, CURLOPT_CONNECTTIMEOUT_MS, milliseconds(r.timeoutSeconds));
  // Loopback servers must never be reached through a proxy from the environment.
  curl_easy_setopt(e, CURLOPT_NOPROXY, "127.0.0.1,localhost,::1");
  curl_easy_setopt(e, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(e, CURLOPT_USERAGENT, "Selvar/" SELVAR_VERSION);
  curl_easy_setopt(e, CURLOPT_ERRORBUFFER, t.errorBuffer);
  curl_easy_setopt(e, CURLOPT_WRITEFUNCTION, collectBody);
  curl_easy_setopt(e, CURLOPT_WRITEDATA, &t);
  curl_easy_setopt(e, CURLOPT_PRIVATE, &t);
  if (r.method == "GET") {
    curl_easy_setopt(e, CURLOPT_HTTPGET, 1L);
  } else {
    curl_easy_setopt(e, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(r.body.size()));
    curl_easy_setopt(e, CURLOPT_POSTFIELDS, r.body.data());
    if (r.method != "POST") curl_easy_setopt(e, CURLOPT_CUSTOMREQUEST, r.method.c_str());
  }
  // No "Expect: 100-continue" round trip before large uploads.
  t.headers = curl_slist_append(t.headers, "Expect:");
  for (const auto &[name, value] : r.headers)
    t.headers = curl_slist_append(t.headers, (name + ": " + value).c_str());
  curl_easy_setopt(e, CURLOPT_HTTPHEADER, t.headers);
  return true;
}

void HttpClient::Impl::adopt(std::unique_ptr<Transfer> t) {
  if (!configure(*t) || curl_multi_add_handle(multi, t->easy) != CURLM_OK) {
    HttpReply reply;
    reply.error = TransportError{TransportError::Kind::other, "the request could not be started"};
    deliver(t->completion, std::move(reply));
    return;
  }
  active.push_back(std::move(t));
}

void HttpClient::Impl::finish(CURL *easy, CURLcode code) {
  Transfer *raw = nullptr;
  curl_easy_getinfo(easy, CURLINFO_PRIVATE, &raw);
  curl_multi_remove_handle(multi, easy);
  std::unique_ptr<Transfer> t;
  for (auto it = active.begin(); it != active.end(); ++it) {
    if (it->get() != raw) continue;
    t = std::move(*it);
    active.erase(it);
    break;
  }
  if (!t) return;
  HttpReply reply;
  long status = 0;
  curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
  reply.status = status > 0 ? static_cast<int>(status) : -1;
  if (code != CURLE_OK) reply.error = describe(code, *t);
  char *location = nullptr;
  if (curl_easy_getinfo(easy, CURLINFO_REDIRECT_URL, &location) == CURLE_OK && location)
    reply.redirectURL = location;
  reply.body = std::move(t->replyBody);
  deliver(t->completion, std::move(reply));
}

void HttpClient::Impl::cancelAll() {
  for (auto &t : active) {
    curl_multi_remove_handle(multi, t->easy);
    deliver(t->completion, cancelledReply());
  }
  active.clear();
  std::deque<std::unique_ptr<Transfer>> left;
  {
    std::lock_guard lock(mutex);
    left.swap(incoming);
  }
  for (auto &t : left)
    deliver(t->completion, cancelledReply());
}

// A day: curl_multi_wakeup ends the wait long before, for a new request or for shutdown.
constexpr int kIdleWaitMs = 24 * 60 * 60 * 1000;

void HttpClient::Impl::run() {
  for (;;) {
    std::deque<std::unique_ptr<Transfer>> fresh;
    {
      std::lock_guard lock(mutex);
      if (stopping) break;
      fresh.swap(incoming);
    }
    for (auto &t : fresh)
      adopt(std::move(t));
    int running = 0;
    curl_multi_perform(multi, &running);
    int queued = 0;
    while (CURLMsg *msg = curl_multi_info_read(multi, &queued))
      if (msg->msg == CURLMSG_DONE) finish(msg->easy_handle, msg->data.result);
    // Wakes for socket activity, curl's own timers, a new request or shutdown. With nothing in
    // flight it sleeps until woken, so an idle application has no periodic wake-up.
    int waitMs = active.empty() ? kIdleWaitMs : 1000;
    curl_multi_poll(multi, nullptr, 0, waitMs, nullptr);
  }
  cancelAll();
}

HttpClient::HttpClient() : impl_(std::make_unique<Impl>()) {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
  impl_->multi = curl_multi_init();
  impl_->worker = std::thread([impl = impl_.get()] { impl->run(); });
}

HttpClient::~HttpClient() {
  shutdown();
  curl_multi_cleanup(impl_->multi);
}

HttpClient &HttpClient::shared() {
  static HttpClient client;
  return client;
}

void HttpClient::send(HttpRequest request, Completion completion) {
  auto t = std::make_unique<Transfer>();
  t->request = std::move(request);
  t->completion = std::move(completion);
  {
    std::lock_guard lock(impl_->mutex);
    if (!impl_->stopping) {
      impl_->incoming.push_back(std::move(t));
      curl_multi_wakeup(impl_->multi);
      return;
    }
  }
  deliver(t->completion, cancelledReply());
}

HttpReply HttpClient::sendAndWait(HttpRequest request, double waitSeconds) {
  struct Wait {
    std::mutex mutex;
    std::condition_variable done;
    std::optional<HttpReply> reply;
  };
  auto wait = std::make_shared<Wait>();
  if (isWorkerThread()) {
    HttpReply r;
    r.error = TransportError{TransportError::Kind::other, "a blocking request from a completion"};
    return r;
  }
  send(std::move(request), [wait](HttpReply reply) {
    std::lock_guard lock(wait->mutex);
    wait->reply = std::move(reply);
    wait->done.notify_all();
  });
  std::unique_lock lock(wait->mutex);
  auto bound = std::chrono::duration<double>(std::max(0.0, waitSeconds));
  if (wait->done.wait_for(lock, bound, [&] { return wait->reply.has_value(); }))
    return std::move(*wait->reply);
  HttpReply late;
  late.error = TransportError{TransportError::Kind::timedOut, "the request timed out"};
  return late;
}

void HttpClient::shutdown() {
  {
    std::lock_guard lock(impl_->mutex);
    impl_->stopping = true;
  }
  curl_multi_wakeup(impl_->multi);
  // From a completion the worker cannot wait for itself; it stops after that completion.
  if (isWorkerThread()) return;
  std::lock_guard lock(impl_->joinMutex);
  if (impl_->worker.joinable()) impl_->worker.join();
}

std::optional<std::string> httpURLHost(const std::string &url) {
  CURLU *u = curl_url();
  if (!u) return std::nullopt;
  std::optional<std::string> host;
  char *scheme = nullptr, *name = nullptr;
  if (curl_url_set(u, CURLUPART_URL, url.c_str(), 0) == CURLUE_OK &&
      curl_url_get(u, CURLUPART_SCHEME, &scheme, 0) == CURLUE_OK &&
      curl_url_get(u, CURLUPART_HOST, &name, 0) == CURLUE_OK &&
      (std::string_view(scheme) == "http" || std::string_view(scheme) == "https") && *name)
    host = name;
  curl_free(scheme);
  curl_free(name);
  curl_url_cleanup(u);
  return host;
}

bool HttpClient::isWorkerThread() const {
  return std::this_thread::get_id() == impl_->worker.get_id();
}

} // namespace selvar
