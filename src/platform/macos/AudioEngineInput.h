#pragma once
// Microphone capture over AVAudioEngine: the input node's format, voice processing, one tap on
// bus 0, start and stop, and the engine's configuration-change notification.

#include "platform/AudioEngine.h"

#include <map>
#include <mutex>

@class AVAudioEngine;
@protocol NSObject;

namespace selvar {

class AudioEngineInput : public AudioEngine {
public:
  AudioEngineInput();
  ~AudioEngineInput() override;
  AudioEngineInput(const AudioEngineInput &) = delete;
  AudioEngineInput &operator=(const AudioEngineInput &) = delete;

  AudioFormat inputFormat() const override;
  std::optional<std::string> setVoiceProcessingEnabled(bool enabled) override;
  bool voiceProcessingEnabled() const override;
  void installTap(AudioFormat format, std::size_t frames, TapBlock block) override;
  void removeTap() override;
  std::optional<std::string> start() override;
  void stop() override;
  bool isRunning() const override;
  Token observeConfigurationChanges(std::function<void()> handler) override;
  void removeConfigurationObserver(Token token) override;

  // Shared with the tap block, which may still be running while the tap is removed.
  struct TapState {
    std::mutex mutex;
    TapBlock block;
  };

private:
  AVAudioEngine *engine_;
  std::shared_ptr<TapState> tap_;
  std::map<Token, id<NSObject>> observers_;
  Token next_ = 1;
};

class AudioEngineInputSystem : public AudioSystem {
public:
  std::unique_ptr<AudioEngine> makeEngine() override;
  std::optional<std::string> defaultInputDeviceName() const override;
};

} // namespace selvar
