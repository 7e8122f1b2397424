#pragma once
// A scripted on-device recognizer for tests: requests collect what they are fed, tasks keep
// their result handler so a test can report partials, finals and errors when it likes.

#include "platform/SpeechRecognizer.h"

#include <mutex>
#include <set>
#include <vector>

namespace selvar {

class FakeRecognitionRequest : public RecognitionRequest {
public:
  void append(const AudioBuffer &buffer) override;
  void endAudio() override;
  std::size_t bufferCount() const;
  std::vector<AudioBuffer> buffers() const;
  bool audioEnded() const;

private:
  mutable std::mutex mutex_;
  std::vector<AudioBuffer> buffers_;
  bool ended_ = false;
};

class FakeRecognitionTask : public RecognitionTask {
public:
  explicit FakeRecognitionTask(SpeechRecognizer::ResultHandler handler)
      : handler_(std::move(handler)) {}
  void cancel() override { cancelled_ = true; }
  bool cancelled() const { return cancelled_; }
  // Reports a result as the recognizer's thread would (here: the calling thread).
  void report(const RecognitionResult &result) { handler_(result); }
  void partial(const std::string &text) { report({text, false, std::nullopt}); }
  void final(const std::string &text) { report({text, true, std::nullopt}); }
  void fail(long code, const std::string &description = "recognition failed") {
    report({"", false, PlatformError{code, description}});
  }

private:
  SpeechRecognizer::ResultHandler handler_;
  bool cancelled_ = false;
};

class FakeSpeechRecognition;

class FakeSpeechRecognizer : public SpeechRecognizer {
public:
  FakeSpeechRecognizer(FakeSpeechRecognition &owner, std::string locale)
      : owner_(owner), locale_(std::move(locale)) {}
  std::string localeIdentifier() const override { return locale_; }
  bool supportsOnDeviceRecognition() const override;
  std::shared_ptr<RecognitionRequest> makeRequest(const RecognitionRequestOptions &) override;
  std::shared_ptr<RecognitionTask> recognitionTask(std::shared_ptr<RecognitionRequest> request,
                                                   ResultHandler handler) override;

private:
  FakeSpeechRecognition &owner_;
  std::string locale_;
};

class FakeSpeechRecognition : public SpeechRecognition {
public:
  std::shared_ptr<SpeechRecognizer> makeRecognizer(const std::string &locale) override;

  FakeRecognitionTask *lastTask() const;
  FakeRecognitionRequest *lastRequest() const;
  std::size_t taskCount() const { return tasks_.size(); }
  const std::vector<std::string> &recognizerLocales() const { return locales_; }
  RecognitionRequestOptions lastOptions;

  std::set<std::string> unsupportedLocales;
  bool onDevice = true;

private:
  friend class FakeSpeechRecognizer;
  std::vector<std::shared_ptr<FakeRecognitionTask>> tasks_;
  std::vector<std::shared_ptr<FakeRecognitionRequest>> requests_;
  std::vector<std::string> locales_;
};

} // namespace selvar
