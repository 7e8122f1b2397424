#pragma once
// What the dictation controller needs of the rest of the application, as narrow seams: the local
// model servers (network), the feedback window, the WAV recorder and the pill's panel. The
// application wires the real ones; tests put scripted ones in their place.

#include "dictation/DictationError.h"
#include "platform/AudioBuffer.h"
#include "platform/AudioEngine.h"
#include "platform/HudPanel.h"
#include "platform/Screens.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace selvar {

struct ServerEndpoint {
  std::string id;
  int port = 0;
  std::string model;
};

// A server's answer: the text, or why there is none.
struct ServerReply {
  std::string text;
  std::optional<DictationError> error;
  // A rewrite whose reply was screened out: text is the input, handed back unchanged.
  bool rejected = false;
};

// Transcription while recording: the 16 kHz samples of one utterance reach the server as they
// are captured, so that at the end only the tail is left to transcribe.
class TranscriptionSession {
public:
  virtual ~TranscriptionSession() = default;
  // Called on the audio thread: must not block.
  virtual void append(std::span<const std::int16_t> samples) = 0;
  // No more audio. The completion runs once, on any thread, with the whole text, or with the
  // failure after which the recording is sent whole.
  virtual void finish(double timeout, std::function<void(ServerReply)> completion) = 0;
  // Ends the session on the server; a pending completion never runs.
  virtual void cancel() = 0;
};

// The local transcription and rewrite servers. Completions may arrive on any thread.
class LocalServerAccess {
public:
  virtual ~LocalServerAccess() = default;
  // The server endpoint behind an engine id; nothing for on-device engines.
  virtual std::optional<ServerEndpoint> endpoint(const std::string &engineId) = 0;
  // May block for a probe when no answer younger than maxAge seconds is known.
  virtual bool isRunning(const std::string &engineId, double maxAge) = 0;
  // The same answer without blocking; the completion may run on any thread, the caller's
  // included.
  virtual void checkRunning(const std::string &engineId, double maxAge,
                            std::function<void(bool running)> completion) = 0;
  virtual bool isServerInstalled() = 0;
  virtual void start(double timeout, const std::string &model,
                     std::function<void(bool started)> completion) = 0;
  virtual void transcribe(const ServerEndpoint &endpoint, std::string wav,
                          const std::string &language, const std::string &prompt, double timeout,
                          std::function<void(ServerReply)> completion) = 0;
  virtual void rewrite(const std::string &text, const ServerEndpoint &endpoint, double timeout,
                       std::function<void(ServerReply)> completion) = 0;
  // A session on a server that offers them; nothing for servers that take whole files only.
  virtual std::shared_ptr<TranscriptionSession> openSession(const ServerEndpoint &,
                                                            const std::string & /*language*/,
                                                            const std::string & /*prompt*/) {
    return nullptr;
  }
};

class FeedbackWindow {
public:
  virtual ~FeedbackWindow() = default;
  // Opens the feedback window, pre-filled with dictated text when there is some.
  virtual void show(const std::optional<std::string> &dictated) = 0;
};

// The 16 kHz WAV file of one server-path utterance. append is called on the audio thread and
// finish on the main thread; the recorder serialises them itself.
class WavRecording {
public:
  virtual ~WavRecording() = default;
  virtual void append(const AudioBuffer &buffer) = 0;
  // The finished file, or nothing when it is too short or could not be written.
  virtual std::optional<std::filesystem::path> finish() = 0;
  virtual std::filesystem::path path() const = 0;
  // Also hands every converted sample to the session from now on.
  virtual void forwardTo(std::shared_ptr<TranscriptionSession> session) = 0;
};

struct DictationNeighbours {
  LocalServerAccess *servers = nullptr;
  FeedbackWindow *feedback = nullptr;
  // Where the controller's pill is drawn.
  HudPanel *hudPanel = nullptr;
  const Screens *screens = nullptr;
  // Nothing when the file cannot be opened.
  std::function<std::shared_ptr<WavRecording>(AudioFormat source)> makeRecorder;
};

} // namespace selvar
