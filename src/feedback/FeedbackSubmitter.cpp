#include "feedback/FeedbackSubmitter.h"

#include "app/Prefs.h"
#include "platform/FileLocations.h"
#include "platform/MainQueue.h"
#include "platform/Services.h"
#include "platform/SettingsStore.h"
#include "records/Log.h"
#include "support/Unicode.h"
#include "support/Uuid.h"

#include <atomic>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <fstream>
#include <sstream>
#include <unistd.h>

namespace selvar::FeedbackSubmitter {

namespace fs = std::filesystem;

namespace {

constexpr const char *kPath = "/v1/feedback";
constexpr std::size_t kLogBytes = 64000;

// A moved endpoint is followed this many times at most, a loop of them thus ends.
constexpr int kMaxRedirects = 5;

// Completion on the HTTP worker thread, before any hop to the main queue.
using RawCompletion = std::function<void(SendResult)>;

std::string schemeOf(const std::string &url) {
  std::string scheme = url.substr(0, url.find("://"));
  for (char &c : scheme)
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return scheme;
}

// Where to post the report again after a redirect, if anywhere. Only redirects that keep the
// method count (303 asks for a GET, which cannot carry a report), and only to the same scheme:
// a report sent over https never continues in plain text.
std::optional<std::string> redirectTarget(const HttpReply &reply, const std::string &from) {
  bool keepsMethod =
      reply.status == 301 || reply.status == 302 || reply.status == 307 || reply.status == 308;
  if (!keepsMethod || !reply.redirectURL) return std::nullopt;
  if (schemeOf(*reply.redirectURL) == schemeOf(from)) return reply.redirectURL;
  Log::write(fmt::format("feedback: not following the redirect (HTTP {}) from {} to {}: another "
                         "scheme",
                         reply.status, schemeOf(from), schemeOf(*reply.redirectURL)));
  return std::nullopt;
}

void sendTo(std::shared_ptr<const FeedbackPayload> payload, std::shared_ptr<const std::string> body,
            const Endpoints &to, bool isRetry, RawCompletion done, std::string url = {},
            int redirects = 0) {
  if (url.empty()) url = isRetry ? to.fallback : to.primary;
  HttpRequest request;
  request.method = "POST";
  request.url = url;
  request.headers = {{"Content-Type", "application/json"}};
  request.body = *body;
  request.timeoutSeconds = to.timeoutSeconds;
  request.maxReplyBytes = 1u << 20; // the answer is ignored
  HttpClient::shared().send(std::move(request), [=](HttpReply reply) {
    if (reply.error) {
      if (!isRetry && httpURLHost(to.fallback)) {
        Log::write(fmt::format("feedback: {} failed ({}); retrying the fallback host",
                               httpURLHost(to.primary).value_or("?"), reply.error->description));
        return sendTo(payload, body, to, true, done);
      }
      return done(SendResult::failure(*reply.error));
    }
    if (reply.isSuccess()) return done(SendResult::success(payload->id));
    if (auto next = redirectTarget(reply, url)) {
      if (redirects < kMaxRedirects) {
        Log::write(fmt::format("feedback: {} redirected the report (HTTP {}) to {}",
                               httpURLHost(url).value_or("?"), reply.status,
                               httpURLHost(*next).value_or("?")));
        return sendTo(payload, body, to, isRetry, done, *next, redirects + 1);
      }
      Log::write(fmt::format("feedback: gave up after {} redirects", redirects));
    }
    done(SendResult::failureWith(std::in_place_type<FeedbackError>,
                                 FeedbackError::rejected(reply.status)));
  });
}

void sendRaw(const FeedbackPayload &payload, const Endpoints &to, RawCompletion done) {
  auto shared = std::make_shared<const FeedbackPayload>(payload);
  auto body = std::make_shared<const std::string>(payload.encoded());
  sendTo(std::move(shared), std::move(body), to, false, std::move(done));
}

RawCompletion onMainQueue(Completion completion) {
  MainQueue *queue = services().mainQueue;
  return [queue, completion = std::move(completion)](SendResult result) {
    queue->async([completion, result = std::move(result)] {
      if (completion) completion(result);
    });
  };
}

std::string safeFileStem(const std::string &id) {
  std::string stem;
  for (char c : id)
    stem += (std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_') ? c : '_';
  return stem.empty() ? "report" : stem;
}

bool writeFileAtomically(const fs::path &target, const std::string &contents) {
  fs::path temp = target.parent_path() / ("." + target.filename().string() + ".tmp");
  int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0) return false;
  const char *p = contents.data();
  std::size_t left = contents.size();
  bool ok = true;
  while (ok && left > 0) {
    ssize_t n = ::write(fd, p, left);
    if (n < 0 && errno == EINTR) continue;
    ok = n > 0;
    if (ok) p += n, left -= static_cast<std::size_t>(n);
  }
  ok = ok && ::fsync(fd) == 0;
  ok = ::close(fd) == 0 && ok;
  std::error_code ec;
  if (ok) fs::rename(temp, target, ec);
  if (!ok || ec) {
    int saved = errno;
    fs::remove(temp, ec);
    errno = saved;
    return false;
  }
  return true;
}

std::optional<std::string> readFile(const fs::path &file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) return std::nullopt;
  std::ostringstream s;
  s << in.rdbuf();
  if (in.bad()) return std::nullopt;
  return std::move(s).str();
}

std::optional<std::string> nonEmpty(std::string s) {
  if (s.empty()) return std::nullopt;
  return s;
}

} // namespace

std::string FeedbackError::description() const {
  return fmt::format("The server refused the report (HTTP {}).", status);
}

std::string describe(const Failure &failure) {
  if (const auto *rejected = std::get_if<FeedbackError>(&failure)) return rejected->description();
  return std::get<TransportError>(failure).description;
}

Endpoints endpoints() {
  Endpoints e;
  e.primary = std::string(SELVAR_FEEDBACK_PRIMARY_URL) + kPath;
  e.fallback = std::string(SELVAR_FEEDBACK_FALLBACK_URL) + kPath;
  auto configured = services().settings->stringValue(PrefKey::feedbackEndpoint);
  if (configured && httpURLHost(*configured)) e.primary = *configured;
  return e;
}

std::string endpoint() {
  return endpoints().primary;
}

fs::path outbox() {
  return Paths::outbox();
}

fs::path outboxFile(const std::string &reportID) {
  return outbox() / (safeFileStem(reportID) + ".json");
}

std::string installID() {
  auto *settings = services().settings;
  if (auto stored = settings->stringValue(PrefKey::installID); stored && !stored->empty())
    return *stored;
  std::string fresh = makeUuidString();
  settings->setValue(PrefKey::installID, fresh);
  return fresh;
}

FeedbackPayload payload(const FeedbackDraft &draft, const std::string &id,
                        const std::string &createdAt,
                        const TranscriptSource &mostRecentTranscript) {
  FeedbackPayload p;
  p.id = id;
  p.createdAt = createdAt;
  if (draft.includeSystemInfo) {
    SystemInfo info = currentSystemInfo();
    p.appVersion = info.appVersion;
    p.build = info.build;
    p.osVersion = info.osVersion;
    p.architecture = info.architecture;
  }
  p.installID = installID();
  p.kind = std::string(rawValue(draft.kind));
  p.message = trimWhitespace(repairUtf8(draft.message));
  p.email = nonEmpty(repairUtf8(draft.email));
  if (draft.includeLogs) p.logs = repairUtf8(Log::tail(kLogBytes));
  if (draft.includeTranscript && mostRecentTranscript)
    if (auto text = mostRecentTranscript()) p.transcript = repairUtf8(*text);
  return p;
}

void send(const FeedbackPayload &payload, Completion completion) {
  send(payload, endpoints(), std::move(completion));
}

void send(const FeedbackPayload &payload, const Endpoints &to, Completion completion) {
  sendRaw(payload, to, onMainQueue(std::move(completion)));
}

void submit(const FeedbackPayload &payload, Completion completion) {
  submit(payload, endpoints(), std::move(completion));
}

void submit(const FeedbackPayload &payload, const Endpoints &to, Completion completion) {
  auto deliver = onMainQueue(std::move(completion));
  sendRaw(payload, to, [payload, deliver](SendResult result) {
    if (!result.ok()) saveToOutbox(payload); // off the main thread, before the answer shows
    deliver(std::move(result));
  });
}

bool saveToOutbox(const FeedbackPayload &payload) {
  fs::path file = outboxFile(payload.id);
  if (writeFileAtomically(file, payload.encoded())) return true;
  Log::write(fmt::format("feedback: could not save report {} to the outbox: {}", payload.id,
                         std::strerror(errno)));
  return false;
}

void flushOutbox(FlushDone done) {
  flushOutbox(endpoints(), std::move(done));
}

void flushOutbox(const Endpoints &to, FlushDone done) {
  struct Pending {
    fs::path file;
    FeedbackPayload payload;
  };
  std::vector<Pending> pending;
  std::error_code ec;
  for (const auto &entry : fs::directory_iterator(outbox(), ec)) {
    if (entry.path().extension() != ".json" || entry.path().filename().string()[0] == '.') continue;
    auto text = readFile(entry.path());
    auto decoded = text ? FeedbackPayload::decode(*text) : std::nullopt;
    if (!decoded) {
      Log::write("feedback outbox: cannot read " + entry.path().filename().string() + "; kept");
      continue;
    }
    pending.push_back({entry.path(), std::move(*decoded)});
  }
  MainQueue *queue = services().mainQueue;
  if (pending.empty()) {
    if (done) queue->async([done] { done(0, 0); });
    return;
  }
  struct Tally {
    std::atomic<std::size_t> delivered{0}, answered{0};
    std::size_t total = 0;
  };
  auto tally = std::make_shared<Tally>();
  tally->total = pending.size();
  for (auto &item : pending) {
    sendRaw(item.payload, to, [file = item.file, tally, queue, done](SendResult result) {
      std::error_code removeError;
      if (result.ok()) {
        ++tally->delivered;
        fs::remove(file, removeError);
      }
      if (++tally->answered < tally->total) return;
      std::size_t delivered = tally->delivered, kept = tally->total - delivered;
      Log::write(fmt::format("feedback outbox: {} sent, {} kept", delivered, kept));
      if (done) queue->async([done, delivered, kept] { done(delivered, kept); });
    });
  }
}

} // namespace selvar::FeedbackSubmitter
