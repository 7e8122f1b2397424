#pragma once
// The operating system's on-device speech recognizer: recognizers by locale, streaming requests
// that take captured buffers, and tasks that report partial and final results. Authorisation
// lives with the other privacy grants (PermissionAccess).

#include "platform/AudioBuffer.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace selvar {

// A platform error as the controller reports it: its numeric code and a readable description.
struct PlatformError {
  long code = 0;
  std::string description;
};

// One streaming request. append and endAudio may be called from any thread.
class RecognitionRequest {
public:
  virtual ~RecognitionRequest() = default;
  virtual void append(const AudioBuffer &buffer) = 0;
  // No more audio: the recognizer finishes the segment and reports its final result.
  virtual void endAudio() = 0;
};

struct RecognitionRequestOptions {
  bool partialResults = true;
  bool requiresOnDevice = true;
  bool dictationHint = true;
};

// Delivered on the recognizer's thread. text is the best transcription ("" when none).
struct RecognitionResult {
  std::string text;
  bool isFinal = false;
  std::optional<PlatformError> error;
};

class RecognitionTask {
public:
  virtual ~RecognitionTask() = default;
  virtual void cancel() = 0;
};

class SpeechRecognizer {
public:
  using ResultHandler = std::function<void(const RecognitionResult &)>;
  virtual ~SpeechRecognizer() = default;
  virtual std::string localeIdentifier() const = 0;
  virtual bool supportsOnDeviceRecognition() const = 0;
  virtual std::shared_ptr<RecognitionRequest> makeRequest(const RecognitionRequestOptions &) = 0;
  virtual std::shared_ptr<RecognitionTask>
  recognitionTask(std::shared_ptr<RecognitionRequest> request, ResultHandler handler) = 0;
};

class SpeechRecognition {
public:
  virtual ~SpeechRecognition() = default;
  // Nothing when the locale is not supported at all.
  virtual std::shared_ptr<SpeechRecognizer> makeRecognizer(const std::string &localeIdentifier) = 0;
};

} // namespace selvar
