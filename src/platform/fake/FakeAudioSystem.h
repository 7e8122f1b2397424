#pragma once
// A scripted microphone for tests: engines report a chosen input format, may fail to start,
// and hand the buffers a test feeds them to their tap on the calling thread.

#include "platform/AudioEngine.h"

#include <atomic>
#include <deque>
#include <map>
#include <mutex>
#include <vector>

namespace selvar {

class FakeAudioSystem;

class FakeAudioEngine : public AudioEngine {
public:
  FakeAudioEngine(FakeAudioSystem &system, AudioFormat input, std::size_t serial);
  ~FakeAudioEngine() override;

  AudioFormat inputFormat() const override;
  std::optional<std::string> setVoiceProcessingEnabled(bool enabled) override;
  bool voiceProcessingEnabled() const override { return voiceProcessing_; }
  void installTap(AudioFormat format, std::size_t frames, TapBlock block) override;
  void removeTap() override;
  std::optional<std::string> start() override;
  void stop() override;
  bool isRunning() const override { return running_.load(); }
  Token observeConfigurationChanges(std::function<void()> handler) override;
  void removeConfigurationObserver(Token token) override;

  // Runs the tap block with the buffer on the calling thread (the "audio thread"); false when
  // no tap is installed or the engine is stopped.
  bool feed(const AudioBuffer &buffer);
  // Changes the input format and tells the observers, as a route change would.
  void changeRoute(AudioFormat input);
  bool hasTap() const;
  AudioFormat tapFormat() const { return tapFormat_; }
  std::size_t tapFrames() const { return tapFrames_; }
  std::size_t observerCount() const { return observers_.size(); }
  int startCount() const { return starts_; }
  void setStopped() { running_ = false; }
  std::size_t serial() const { return serial_; }

private:
  FakeAudioSystem &system_;
  AudioFormat input_;
  std::size_t serial_;
  bool voiceProcessing_ = false;
  std::atomic<bool> running_{false}; // read by the feeding ("audio") thread
  int starts_ = 0;
  mutable std::mutex tapMutex_;
  TapBlock tap_;
  AudioFormat tapFormat_{};
  std::size_t tapFrames_ = 0;
  std::map<Token, std::function<void()>> observers_;
  Token nextToken_ = 1;
};

class FakeAudioSystem : public AudioSystem {
public:
  std::unique_ptr<AudioEngine> makeEngine() override;
  std::optional<std::string> defaultInputDeviceName() const override { return deviceName; }

  // The engine created last that still exists, and the one currently running (or nothing).
  FakeAudioEngine *lastEngine() const;
  FakeAudioEngine *runningEngine() const;
  std::size_t enginesMade() const { return made_; }
  // Feeds the engine with that serial from any thread; false once it is gone, stopped or
  // without a tap. Safe against the engine being destroyed meanwhile.
  bool feed(std::size_t serial, const AudioBuffer &buffer);

  // Settings for engines made from now on.
  AudioFormat inputFormat{48000, 1};
  std::optional<std::string> deviceName = std::string("Test Microphone");
  std::optional<std::string> voiceProcessingError;
  // Each start pops one entry: an error description makes that start fail.
  std::deque<std::optional<std::string>> startResults;

private:
  friend class FakeAudioEngine;
  mutable std::mutex liveMutex_;
  std::vector<FakeAudioEngine *> live_;
  std::size_t made_ = 0;
};

// A buffer of `frames` frames per channel, every sample at `level` (so its RMS is |level|).
AudioBuffer makeToneBuffer(float level, double sampleRate, std::size_t frames = 2048,
                           int channels = 1);

} // namespace selvar
