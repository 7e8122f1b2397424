#pragma once
// The real neighbours of the controller's server path: the local servers reached through
// LocalServer and their HTTP clients, and WAV files written by WAVRecorder.

#include "dictation/DictationNeighbours.h"

namespace selvar {

class LocalServerBridge : public LocalServerAccess {
public:
  std::optional<ServerEndpoint> endpoint(const std::string &engineId) override;
  bool isRunning(const std::string &engineId, double maxAge) override;
  void checkRunning(const std::string &engineId, double maxAge,
                    std::function<void(bool)> completion) override;
  bool isServerInstalled() override;
  void start(double timeout, const std::string &model,
             std::function<void(bool)> completion) override;
  void transcribe(const ServerEndpoint &endpoint, std::string wav, const std::string &language,
                  const std::string &prompt, double timeout,
                  std::function<void(ServerReply)> completion) override;
  void rewrite(const std::string &text, const ServerEndpoint &endpoint, double timeout,
               std::function<void(ServerReply)> completion) override;
  std::shared_ptr<TranscriptionSession> openSession(const ServerEndpoint &endpoint,
                                                    const std::string &language,
                                                    const std::string &prompt) override;
};

// A WAV recording in the temporary folder for buffers of the format; nothing when the file
// cannot be opened.
std::shared_ptr<WavRecording> makeWavRecording(AudioFormat source);

} // namespace selvar
