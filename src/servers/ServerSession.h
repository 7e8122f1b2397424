#pragma once
// Transcription while recording on the local server's session endpoints: the samples of one
// utterance go up in numbered chunks while the user speaks, so that at the end the server has
// only the tail left to transcribe. Chunks go one at a time, in order; any failure makes the
// session useless, and the caller then sends the recording whole.
//
// The audio thread only copies samples into a fixed ring. Requests are made elsewhere: by a
// timer on the main queue, by the completion of the previous request on the HTTP thread, and
// by finish() on the caller's thread.

#include "platform/MainQueue.h"
#include "servers/HttpClient.h"
#include "servers/LocalServer.h"
#include "servers/SampleRing.h"
#include "servers/ServerError.h"

#include <atomic>
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
  // How often the main queue looks for a full chunk: a chunk waits at most this long.
  static constexpr double kPumpInterval = 0.125;
  // Audio waiting to go up, 32 s: three times over what a stalled request holds back before it
  // times out. A session that falls further behind fails, and the recording goes whole.
  static constexpr std::size_t kBufferSamples = 32 * 16000;
  static constexpr double kRequestTimeout = 10;

  // Asks the server for a session and returns at once; audio appended meanwhile waits. The
  // queue defaults to the installed main queue.
  static std::shared_ptr<ServerSession> open(const LocalServer::Endpoint &endpoint,
                                             const std::string &language, const std::string &prompt,
                                             HttpSender &http = HttpClient::shared(),
                                             MainQueue *queue = nullptr);

  // 16 kHz mono samples, in order. Never blocks, allocates or sends: it runs on the audio
  // thread. Calls must not overlap (the recorder's lock serialises them).
  void append(std::span<const std::int16_t> samples);
  // No more audio. The completion runs once, on any thread: the whole text, or the failure
  // after which the recording should go whole.
  void finish(double timeoutSeconds, Completion completion);
  // Ends the session on the server; a pending completion never runs.
  void cancel();
  // Whether the server turned the session down because it has none (an older or another
  // server): not worth asking again on this port.
  bool unsupported() const;

  ServerSession(LocalServer::Endpoint endpoint, HttpSender &http, MainQueue &queue);

private:
  void opened(const HttpReply &reply);
  void schedulePump();
  void pumpTick();
  void stopStreaming();
  void pump(std::unique_lock<std::mutex> &lock);
  void sendChunk(std::unique_lock<std::mutex> &lock, std::size_t samples);
  void sendFinish(std::unique_lock<std::mutex> &lock);
  // Ends the wait for a request's reply; a failed reply fails the session (false).
  bool settled(std::unique_lock<std::mutex> &lock, const HttpReply &reply);
  void fail(std::unique_lock<std::mutex> &lock, ServerFailure failure);
  void deleteOnServer(const std::string &id);
  std::optional<std::string> url(const std::string &suffix) const;

  LocalServer::Endpoint endpoint_;
  HttpSender &http_;
  MainQueue &queue_;
  SampleRing ring_;
  std::atomic<bool> takesAudio_{true};
  // Everything below; never taken on the audio thread.
  mutable std::mutex mutex_;
  std::optional<std::string> id_;
  std::vector<std::int16_t> chunk_;
  TimerRef pumpTimer_;
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
