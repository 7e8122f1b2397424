#pragma once
// Transcription while recording on the local server's session endpoints: the samples of one
// utterance go up in numbered chunks while the user speaks, so that at the end the server has
// only the tail left to transcribe. Chunks go one at a time, in order; any failure makes the
// session useless, and the caller then sends the recording whole.

#include "servers/HttpClient.h"
#include "servers/LocalServer.h"
#include "servers/ServerError.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace selvar {

class ServerSession : public std::enable_shared_from_this<ServerSession> {
public:
  using Completion = std::function<void(ServerResult<std::string>)>;
  static constexpr const char *kSessionsPath = "/v1/sessions";
  // A quarter of a second of 16 kHz audio: small enough that little is left at the end,
  // large enough that the requests cost nothing next to the audio.
  static constexpr std::size_t kChunkSamples = 4000;
  static constexpr double kRequestTimeout = 10;

  // Asks the server for a session and returns at once; audio appended meanwhile waits.
  static std::shared_ptr<ServerSession> open(const LocalServer::Endpoint &endpoint,
                                             const std::string &language, const std::string &prompt,
                                             HttpClient &http = HttpClient::shared());

  // 16 kHz mono samples, in order. Never blocks: it may run on the audio thread.
  void append(std::span<const std::int16_t> samples);
  // No more audio. The completion runs once, on any thread: the whole text, or the failure
  // after which the recording should go whole.
  void finish(double timeoutSeconds, Completion completion);
  // Ends the session on the server; a pending completion never runs.
  void cancel();
  // Whether the server turned the session down because it has none (an older or another
  // server): not worth asking again on this port.
  bool unsupported() const;

  ServerSession(LocalServer::Endpoint endpoint, HttpClient &http);

private:
  void opened(const HttpReply &reply);
  void pump(std::unique_lock<std::mutex> &lock);
  void sendChunk(std::unique_lock<std::mutex> &lock, std::size_t samples);
  void sendFinish(std::unique_lock<std::mutex> &lock);
  void fail(std::unique_lock<std::mutex> &lock, ServerFailure failure);
  void deleteOnServer(const std::string &id);
  std::optional<std::string> url(const std::string &suffix) const;

  LocalServer::Endpoint endpoint_;
  HttpClient &http_;
  mutable std::mutex mutex_;
  std::optional<std::string> id_;
  std::vector<std::int16_t> buffered_;
  int nextChunk_ = 0;
  bool sending_ = false;
  bool ending_ = false;
  bool cancelled_ = false;
  bool unsupported_ = false;
  double finishTimeout_ = 60;
  std::optional<ServerFailure> failure_;
  Completion completion_;
};

} // namespace selvar
