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
