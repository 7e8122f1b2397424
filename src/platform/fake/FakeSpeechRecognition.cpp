#include "platform/fake/FakeSpeechRecognition.h"

namespace selvar {

void FakeRecognitionRequest::append(const AudioBuffer &buffer) {
  std::lock_guard lock(mutex_);
  buffers_.push_back(buffer);
}

void FakeRecognitionRequest::endAudio() {
  std::lock_guard lock(mutex_);
  ended_ = true;
}

std::size_t FakeRecognitionRequest::bufferCount() const {
  std::lock_guard lock(mutex_);
  return buffers_.size();
}

std::vector<AudioBuffer> FakeRecognitionRequest::buffers() const {
  std::lock_guard lock(mutex_);
  return buffers_;
}

bool FakeRecognitionRequest::audioEnded() const {
  std::lock_guard lock(mutex_);
  return ended_;
}

bool FakeSpeechRecognizer::supportsOnDeviceRecognition() const {
  return owner_.onDevice;
}

std::shared_ptr<RecognitionRequest>
FakeSpeechRecognizer::makeRequest(const RecognitionRequestOptions &options) {
  owner_.lastOptions = options;
  auto request = std::make_shared<FakeRecognitionRequest>();
  owner_.requests_.push_back(request);
  return request;
}

std::shared_ptr<RecognitionTask>
FakeSpeechRecognizer::recognitionTask(std::shared_ptr<RecognitionRequest>, ResultHandler handler) {
  auto task = std::make_shared<FakeRecognitionTask>(std::move(handler));
  owner_.tasks_.push_back(task);
  return task;
}

std::shared_ptr<SpeechRecognizer> FakeSpeechRecognition::makeRecognizer(const std::string &locale) {
  locales_.push_back(locale);
  if (unsupportedLocales.contains(locale)) return nullptr;
  return std::make_shared<FakeSpeechRecognizer>(*this, locale);
}

FakeRecognitionTask *FakeSpeechRecognition::lastTask() const {
  return tasks_.empty() ? nullptr : tasks_.back().get();
}

FakeRecognitionRequest *FakeSpeechRecognition::lastRequest() const {
  return requests_.empty() ? nullptr : requests_.back().get();
}

} // namespace selvar
