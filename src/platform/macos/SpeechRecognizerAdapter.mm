#include "platform/macos/SpeechRecognizerAdapter.h"

#include "platform/macos/AudioBufferBridge.h"
#include "platform/macos/ObjCBridge.h"

#import <Speech/Speech.h>

namespace selvar {

namespace {

class BufferRequest : public RecognitionRequest {
public:
  explicit BufferRequest(const RecognitionRequestOptions &options)
      : request_([[SFSpeechAudioBufferRecognitionRequest alloc] init]) {
    request_.shouldReportPartialResults = options.partialResults;
    request_.requiresOnDeviceRecognition = options.requiresOnDevice;
    request_.taskHint = options.dictationHint ? SFSpeechRecognitionTaskHintDictation
                                              : SFSpeechRecognitionTaskHintUnspecified;
  }

  void append(const AudioBuffer &buffer) override {
    if (AVAudioPCMBuffer *pcm = pcmBufferFrom(buffer)) [request_ appendAudioPCMBuffer:pcm];
  }
  void endAudio() override { [request_ endAudio]; }

  SFSpeechAudioBufferRecognitionRequest *request() const { return request_; }

private:
  SFSpeechAudioBufferRecognitionRequest *request_;
};

class Task : public RecognitionTask {
public:
  explicit Task(SFSpeechRecognitionTask *task) : task_(task) {}
  void cancel() override { [task_ cancel]; }

private:
  SFSpeechRecognitionTask *task_;
};

RecognitionResult resultFrom(SFSpeechRecognitionResult *result, NSError *error) {
  RecognitionResult out;
  out.text = stdString(result.bestTranscription.formattedString);
  out.isFinal = result && [result isFinal];
  if (error) out.error = PlatformError{static_cast<long>(error.code), describe(error)};
  return out;
}

class Recognizer : public SpeechRecognizer {
public:
  explicit Recognizer(SFSpeechRecognizer *recognizer) : recognizer_(recognizer) {}

  std::string localeIdentifier() const override {
    return stdString(recognizer_.locale.localeIdentifier);
  }
  bool supportsOnDeviceRecognition() const override {
    return recognizer_.supportsOnDeviceRecognition;
  }
  std::shared_ptr<RecognitionRequest> makeRequest(const RecognitionRequestOptions &o) override {
    return std::make_shared<BufferRequest>(o);
  }

  std::shared_ptr<RecognitionTask> recognitionTask(std::shared_ptr<RecognitionRequest> request,
                                                   ResultHandler handler) override {
    auto *buffered = dynamic_cast<BufferRequest *>(request.get());
    if (!buffered) return nullptr; // only requests made by this recognizer can be run
    SFSpeechRecognitionTask *task = [recognizer_
        recognitionTaskWithRequest:buffered->request()
                     resultHandler:^(SFSpeechRecognitionResult *result, NSError *error) {
                       handler(resultFrom(result, error));
                     }];
    return task ? std::make_shared<Task>(task) : nullptr;
  }

private:
  SFSpeechRecognizer *recognizer_;
};

} // namespace

std::shared_ptr<SpeechRecognizer>
SpeechRecognizerAdapter::makeRecognizer(const std::string &localeIdentifier) {
  NSLocale *locale = [NSLocale localeWithLocaleIdentifier:nsString(localeIdentifier)];
  SFSpeechRecognizer *recognizer = [[SFSpeechRecognizer alloc] initWithLocale:locale];
  if (!recognizer) return nullptr;
  return std::make_shared<Recognizer>(recognizer);
}

} // namespace selvar
