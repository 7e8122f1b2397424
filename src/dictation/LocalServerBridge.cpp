#include "dictation/LocalServerBridge.h"

#include "app/RewriteServerChoice.h"
#include "servers/LocalServer.h"
#include "servers/RewriteClient.h"
#include "servers/ServerSession.h"
#include "servers/TranscriptionClient.h"
#include "servers/WAVRecorder.h"

#include <atomic>

namespace selvar {

namespace {

// The codes the platform's URL loading uses, so a transport failure reads the same in the
// pill ("code -1004") on every platform.
long transportCode(TransportError::Kind kind) {
  switch (kind) {
  case TransportError::Kind::cannotConnect:
    return -1004;
  case TransportError::Kind::cannotFindHost:
    return -1003;
  case TransportError::Kind::timedOut:
    return -1001;
  case TransportError::Kind::tooLarge:
    return -1103;
  case TransportError::Kind::invalidURL:
    return -1000;
  case TransportError::Kind::cancelled:
    return -999;
  case TransportError::Kind::other:
    return -1;
  }
  return -1;
}

DictationError toDictationError(const ServerFailure &failure) {
  if (auto *server = std::get_if<ServerError>(&failure))
    return {static_cast<long>(server->kind), server->description(), true,
            server->kind == ServerError::Kind::emptyText};
  const auto &transport = std::get<TransportError>(failure);
  return {transportCode(transport.kind), transport.description, false};
}

ServerReply toReply(const ServerResult<std::string> &result) {
  if (result) return {result.value(), std::nullopt};
  return {"", toDictationError(result.error())};
}

// The rewrite server is wherever the preferences point; the others are built in.
std::optional<LocalServer::Endpoint> endpointFor(const std::string &id) {
  if (id == LocalServer::kRewriteID) return configuredRewriteEndpoint();
  return LocalServer::endpoint(id);
}

std::optional<LocalServer::Endpoint> serverEndpoint(const ServerEndpoint &endpoint) {
  auto found = endpointFor(endpoint.id);
  if (found) found->model = endpoint.model;
  return found;
}

class WavFileRecording : public WavRecording {
public:
  explicit WavFileRecording(std::unique_ptr<WAVRecorder> recorder)
      : recorder_(std::move(recorder)) {}
  void append(const AudioBuffer &buffer) override { recorder_->append(buffer); }
  std::optional<std::filesystem::path> finish() override { return recorder_->finish(); }
  std::filesystem::path path() const override { return recorder_->url(); }
  void forwardTo(std::shared_ptr<TranscriptionSession> session) override {
    recorder_->setListener([session = std::move(session)](std::span<const std::int16_t> samples) {
      session->append(samples);
    });
  }

private:
  std::unique_ptr<WAVRecorder> recorder_;
};

class ServerSessionAdapter : public TranscriptionSession {
public:
  explicit ServerSessionAdapter(std::shared_ptr<ServerSession> session)
      : session_(std::move(session)) {}
  ~ServerSessionAdapter() override { session_->cancel(); }
  void append(std::span<const std::int16_t> samples) override { session_->append(samples); }
  void finish(double timeout, std::function<void(ServerReply)> completion) override {
    session_->finish(timeout, [session = session_, completion = std::move(completion)](
                                  ServerResult<std::string> result) {
      // A server without sessions after all is not asked again until the app restarts.
      if (session->unsupported()) withoutSessions().store(true);
      completion(toReply(result));
    });
  }
  void cancel() override { session_->cancel(); }

  static std::atomic<bool> &withoutSessions() {
    static std::atomic<bool> flag{false};
    return flag;
  }

private:
  std::shared_ptr<ServerSession> session_;
};

} // namespace

std::optional<ServerEndpoint> LocalServerBridge::endpoint(const std::string &engineId) {
  auto found = endpointFor(engineId);
  if (!found) return std::nullopt;
  return ServerEndpoint{found->id, found->port, found->model};
}

bool LocalServerBridge::isRunning(const std::string &engineId, double maxAge) {
  auto found = endpointFor(engineId);
  return found && LocalServer::isRunning(*found, maxAge);
}

void LocalServerBridge::checkRunning(const std::string &engineId, double maxAge,
                                     std::function<void(bool)> completion) {
  auto found = endpointFor(engineId);
  if (!found) return completion(false);
  LocalServer::checkRunning(*found, maxAge, std::move(completion));
}

bool LocalServerBridge::isServerInstalled() {
  return LocalServer::isServerInstalled();
}

void LocalServerBridge::start(double timeout, const std::string &model,
                              std::function<void(bool)> completion) {
  LocalServer::start(timeout, model, std::move(completion));
}

void LocalServerBridge::transcribe(const ServerEndpoint &endpoint, std::string wav,
                                   const std::string &language, const std::string &prompt,
                                   double timeout, std::function<void(ServerReply)> completion) {
  auto target = serverEndpoint(endpoint);
  if (!target) {
    completion({"", toDictationError(ServerError::notRunning())});
    return;
  }
  TranscriptionClient::Job job;
  job.audio = std::make_shared<const std::string>(std::move(wav));
  job.endpoint = *target;
  job.language = language;
  job.prompt = prompt;
  job.timeoutSeconds = timeout;
  TranscriptionClient::tryNext(
      std::move(job), {{TranscriptionClient::kTranscriptionPath, true}},
      [completion = std::move(completion)](ServerResult<std::string> result) {
        completion(toReply(result));
      });
}

void LocalServerBridge::rewrite(const std::string &text, const ServerEndpoint &endpoint,
                                double timeout, std::function<void(ServerReply)> completion) {
  auto target = serverEndpoint(endpoint);
  if (!target) {
    completion({"", toDictationError(ServerError::notRunning())});
    return;
  }
  RewriteClient::rewrite(
      text, *target, timeout,
      [completion = std::move(completion)](ServerResult<RewriteClient::Rewrite> result) {
        if (!result) return completion({"", toDictationError(result.error())});
        completion({result.value().text, std::nullopt, result.value().rejected});
      });
}

std::shared_ptr<TranscriptionSession> LocalServerBridge::openSession(const ServerEndpoint &endpoint,
                                                                     const std::string &language,
                                                                     const std::string &prompt) {
  auto target = serverEndpoint(endpoint);
  // Sessions are the local transcription server's own; other servers take whole files.
  if (!target || endpoint.id != LocalServer::transcriptionEndpoint().id ||
      ServerSessionAdapter::withoutSessions().load())
    return nullptr;
  return std::make_shared<ServerSessionAdapter>(ServerSession::open(*target, language, prompt));
}

std::shared_ptr<WavRecording> makeWavRecording(AudioFormat source) {
  auto recorder = WAVRecorder::create(source.sampleRate, source.channelCount);
  if (!recorder) return nullptr;
  return std::make_shared<WavFileRecording>(std::move(recorder));
}

} // namespace selvar
