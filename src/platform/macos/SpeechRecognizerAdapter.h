#pragma once
// The system's speech recognizer (SFSpeechRecognizer): recognizers by locale, buffer-fed
// requests, and tasks that report partial and final transcriptions.

#include "platform/SpeechRecognizer.h"

namespace selvar {

class SpeechRecognizerAdapter : public SpeechRecognition {
public:
  std::shared_ptr<SpeechRecognizer> makeRecognizer(const std::string &localeIdentifier) override;
};

} // namespace selvar
