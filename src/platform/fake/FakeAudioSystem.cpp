#include "platform/fake/FakeAudioSystem.h"

#include <algorithm>

namespace selvar {

FakeAudioEngine::FakeAudioEngine(FakeAudioSystem &system, AudioFormat input, std::size_t serial)
    : system_(system), input_(input), serial_(serial) {}

FakeAudioEngine::~FakeAudioEngine() {
  std::lock_guard lock(system_.liveMutex_);
  std::erase(system_.live_, this);
}

AudioFormat FakeAudioEngine::inputFormat() const {
  return input_;
}

std::optional<std::string> FakeAudioEngine::setVoiceProcessingEnabled(bool enabled) {
  if (system_.voiceProcessingError) return system_.voiceProcessingError;
  voiceProcessing_ = enabled;
  return std::nullopt;
}

void FakeAudioEngine::installTap(AudioFormat format, std::size_t frames, TapBlock block) {
  std::lock_guard lock(tapMutex_);
  tap_ = std::move(block);
  tapFormat_ = format;
  tapFrames_ = frames;
}

void FakeAudioEngine::removeTap() {
  std::lock_guard lock(tapMutex_);
  tap_ = nullptr;
}

bool FakeAudioEngine::hasTap() const {
  std::lock_guard lock(tapMutex_);
  return static_cast<bool>(tap_);
}

std::optional<std::string> FakeAudioEngine::start() {
  ++starts_;
  if (!system_.startResults.empty()) {
    auto result = system_.startResults.front();
    system_.startResults.pop_front();
    if (result) return result;
  }
  running_ = true;
  return std::nullopt;
}

void FakeAudioEngine::stop() {
  running_ = false;
}

AudioEngine::Token FakeAudioEngine::observeConfigurationChanges(std::function<void()> handler) {
  observers_[nextToken_] = std::move(handler);
  return nextToken_++;
}

void FakeAudioEngine::removeConfigurationObserver(Token token) {
  observers_.erase(token);
}

bool FakeAudioEngine::feed(const AudioBuffer &buffer) {
  std::lock_guard lock(tapMutex_);
  if (!tap_ || !running_) return false;
  tap_(buffer);
  return true;
}

void FakeAudioEngine::changeRoute(AudioFormat input) {
  input_ = input;
  running_ = false; // a route change stops the engine, as the real one does
  auto observers = observers_;
  for (auto &[token, handler] : observers)
    handler();
}

std::unique_ptr<AudioEngine> FakeAudioSystem::makeEngine() {
  auto engine = std::make_unique<FakeAudioEngine>(*this, inputFormat, made_++);
  std::lock_guard lock(liveMutex_);
  live_.push_back(engine.get());
  return engine;
}

bool FakeAudioSystem::feed(std::size_t serial, const AudioBuffer &buffer) {
  std::lock_guard lock(liveMutex_);
  auto it =
      std::find_if(live_.begin(), live_.end(), [&](auto *e) { return e->serial() == serial; });
  return it != live_.end() && (*it)->feed(buffer);
}

FakeAudioEngine *FakeAudioSystem::lastEngine() const {
  std::lock_guard lock(liveMutex_);
  return live_.empty() ? nullptr : live_.back();
}

FakeAudioEngine *FakeAudioSystem::runningEngine() const {
  std::lock_guard lock(liveMutex_);
  auto it = std::find_if(live_.rbegin(), live_.rend(), [](auto *e) { return e->isRunning(); });
  return it == live_.rend() ? nullptr : *it;
}

AudioBuffer makeToneBuffer(float level, double sampleRate, std::size_t frames, int channels) {
  return AudioBuffer::planar(std::vector<float>(frames * static_cast<std::size_t>(channels), level),
                             channels, sampleRate);
}

} // namespace selvar
