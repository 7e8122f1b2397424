#include "servers/ServerSession.h"

#include "platform/Services.h"
#include "records/Log.h"
#include "servers/TranscriptionClient.h"

#include <algorithm>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace selvar {

namespace {

using Failure = ServerResult<std::string>;

// The server takes at most a megabyte a chunk; catching up after a slow request sends what
// has piled up in one go, up to this.
constexpr std::size_t kMaxChunkSamples = 256 * 1024;

std::string littleEndian(std::span<const std::int16_t> samples) {
  std::string bytes(samples.size() * 2, '\0');
  for (std::size_t i = 0; i < samples.size(); ++i) {
    auto value = static_cast<std::uint16_t>(samples[i]);
    bytes[2 * i] = static_cast<char>(value & 0xff);
    bytes[2 * i + 1] = static_cast<char>(value >> 8);
  }
  return bytes;
}

ServerFailure failureOf(const HttpReply &reply) {
  if (reply.error) return *reply.error;
  return ServerError::badResponse(reply.status);
}

ServerFailure fellBehind() {
  return TransportError{TransportError::Kind::other, "the session fell behind the audio"};
}

} // namespace

ServerSession::ServerSession(LocalServer::Endpoint endpoint, HttpSender &http, MainQueue &queue)
    : endpoint_(std::move(endpoint)), http_(http), queue_(queue), ring_(kBufferSamples) {}

std::shared_ptr<ServerSession> ServerSession::open(const LocalServer::Endpoint &endpoint,
                                                   const std::string &language,
                                                   const std::string &prompt, HttpSender &http,
                                                   MainQueue *queue) {
  auto session =
      std::make_shared<ServerSession>(endpoint, http, queue ? *queue : *services().mainQueue);
  {
    std::lock_guard lock(session->mutex_);
    session->schedulePump();
  }
  auto url = session->url("");
  HttpRequest request;
  request.method = "POST";
  request.url = url.value_or("");
  request.headers = {{"Content-Type", "application/json"}};
  nlohmann::json body = nlohmann::json::object();
  if (!language.empty()) body["language"] = language;
  if (!prompt.empty()) body["prompt"] = prompt;
  request.body = body.dump();
  request.timeoutSeconds = kRequestTimeout;
  http.send(std::move(request), [session](HttpReply reply) { session->opened(reply); });
  return session;
}

std::optional<std::string> ServerSession::url(const std::string &suffix) const {
  std::string path = kSessionsPath;
  if (!suffix.empty()) path += "/" + suffix;
  return endpoint_.url(path);
}

bool ServerSession::unsupported() const {
  std::lock_guard lock(mutex_);
  return unsupported_;
}

void ServerSession::opened(const HttpReply &reply) {
  std::unique_lock lock(mutex_);
  std::optional<std::string> id;
  if (reply.isSuccess()) {
    auto json = nlohmann::json::parse(reply.body, nullptr, false);
    if (json.is_object() && json.contains("id") && json["id"].is_string())
      id = json["id"].get<std::string>();
  }
  if (cancelled_) {
    lock.unlock();
    if (id) deleteOnServer(*id);
    return;
  }
  if (!id) {
    unsupported_ = reply.status == 404 || reply.status == 405;
    if (!unsupported_)
      Log::write("server session could not be opened: " + describe(failureOf(reply)));
    fail(lock, reply.isSuccess() ? ServerError::badResponse(reply.status) : failureOf(reply));
    return;
  }
  id_ = id;
  pump(lock);
}

void ServerSession::append(std::span<const std::int16_t> samples) {
  // A refused push marks the ring as overflowed, which the next pump turns into a failure.
  if (takesAudio_.load(std::memory_order_acquire)) ring_.push(samples);
}

// Called with the lock held.
void ServerSession::schedulePump() {
  pumpTimer_ = queue_.scheduleTimer(kPumpInterval, [weak = weak_from_this()] {
    if (auto self = weak.lock()) self->pumpTick();
  });
}

void ServerSession::pumpTick() {
  std::unique_lock lock(mutex_);
  if (ending_ || failure_ || cancelled_) return;
  schedulePump();
  pump(lock);
}

// Called with the lock held, once no more audio will be sent.
void ServerSession::stopStreaming() {
  takesAudio_.store(false, std::memory_order_release);
  cancelTimer(pumpTimer_);
}

void ServerSession::finish(double timeoutSeconds, Completion completion) {
  std::unique_lock lock(mutex_);
  if (cancelled_) return;
  ending_ = true;
  stopStreaming();
  finishTimeout_ = timeoutSeconds;
  completion_ = std::move(completion);
  if (failure_) {
    auto done = std::exchange(completion_, nullptr);
    auto failure = *failure_;
    lock.unlock();
    done(Failure::failure(failure));
    return;
  }
  pump(lock);
}

void ServerSession::cancel() {
  std::unique_lock lock(mutex_);
  if (cancelled_) return;
  cancelled_ = true;
  completion_ = nullptr;
  stopStreaming();
  auto id = id_;
  lock.unlock();
  if (id) deleteOnServer(*id);
}

// Sends the next request when none is under way; releases the lock when it sends. Never
// runs on the audio thread.
void ServerSession::pump(std::unique_lock<std::mutex> &lock) {
  if (!id_ || sending_ || failure_ || cancelled_) return;
  if (ring_.overflowed()) return fail(lock, fellBehind());
  std::size_t waiting = ring_.size();
  if (waiting >= kChunkSamples || (ending_ && waiting > 0))
    return sendChunk(lock, std::min(waiting, kMaxChunkSamples));
  if (ending_) sendFinish(lock);
}

void ServerSession::sendChunk(std::unique_lock<std::mutex> &lock, std::size_t samples) {
  HttpRequest request;
  request.method = "PUT";
  request.url = url(fmt::format("{}/audio/{}", *id_, nextChunk_)).value_or("");
  request.headers = {{"Content-Type", "application/octet-stream"}};
  chunk_.clear();
  ring_.pop(samples, chunk_);
  request.body = littleEndian(chunk_);
  request.timeoutSeconds = kRequestTimeout;
  ++nextChunk_;
  sending_ = true;
  lock.unlock();
  http_.send(std::move(request), [self = shared_from_this()](HttpReply reply) {
    std::unique_lock relock(self->mutex_);
    if (self->settled(relock, reply)) self->pump(relock);
  });
}

void ServerSession::sendFinish(std::unique_lock<std::mutex> &lock) {
  HttpRequest request;
  request.method = "POST";
  request.url = url(*id_ + "/finish").value_or("");
  request.timeoutSeconds = finishTimeout_;
  sending_ = true;
  lock.unlock();
  http_.send(std::move(request), [self = shared_from_this()](HttpReply reply) {
    std::unique_lock relock(self->mutex_);
    if (!self->settled(relock, reply)) return;
    self->id_.reset(); // the server ended the session with its answer
    auto done = std::exchange(self->completion_, nullptr);
    relock.unlock();
    if (done) done(TranscriptionClient::parseReply(reply.body, reply.status));
  });
}

bool ServerSession::settled(std::unique_lock<std::mutex> &lock, const HttpReply &reply) {
  sending_ = false;
  if (reply.isSuccess()) return true;
  fail(lock, failureOf(reply));
  return false;
}

void ServerSession::fail(std::unique_lock<std::mutex> &lock, ServerFailure failure) {
  if (failure_) return;
  failure_ = failure;
  stopStreaming();
  auto id = std::exchange(id_, std::nullopt);
  auto done = ending_ ? std::exchange(completion_, nullptr) : nullptr;
  lock.unlock();
  // The server would otherwise go on transcribing pieces nobody will read.
  if (id) deleteOnServer(*id);
  if (done) done(Failure::failure(failure));
}

void ServerSession::deleteOnServer(const std::string &id) {
  HttpRequest request;
  request.method = "DELETE";
  request.url = url(id).value_or("");
  request.timeoutSeconds = kRequestTimeout;
  http_.send(std::move(request), [](HttpReply) {});
}

} // namespace selvar
