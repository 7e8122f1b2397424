#pragma once
// Linux desktops have no on-device speech recognizer: every locale is unsupported, so the
// controller says so and the local transcription server is the engine.

#include "platform/SpeechRecognizer.h"

namespace selvar {

class UnavailableSpeechRecognition : public SpeechRecognition {
public:
  std::shared_ptr<SpeechRecognizer> makeRecognizer(const std::string &) override { return nullptr; }
};

} // namespace selvar
