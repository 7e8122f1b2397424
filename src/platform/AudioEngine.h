#pragma once
// Microphone capture as the dictation controller needs it: one engine per capture session, its
// input format, optional voice processing, one tap of fixed-size buffers delivered on the
// engine's audio thread, start and stop, and word when the audio route changes.

#include "platform/AudioBuffer.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace selvar {

struct AudioFormat {
  double sampleRate = 0;
  int channelCount = 0;
  friend bool operator==(const AudioFormat &, const AudioFormat &) = default;
};

class AudioEngine {
public:
  using TapBlock = std::function<void(const AudioBuffer &)>;
  using Token = std::uint64_t;
  virtual ~AudioEngine() = default;

  // The input's own format (bus 0); a sample rate or channel count of 0 means not ready.
  virtual AudioFormat inputFormat() const = 0;
  // Echo cancellation and noise suppression on the input. The error's description on failure.
  virtual std::optional<std::string> setVoiceProcessingEnabled(bool enabled) = 0;
  virtual bool voiceProcessingEnabled() const = 0;
  // Replaces any tap. Buffers of `frames` frames in `format` (mono when asked, whatever the
  // device delivers) reach the block on the engine's audio thread.
  virtual void installTap(AudioFormat format, std::size_t frames, TapBlock block) = 0;
  // After this returns the block is not running and is never called again.
  virtual void removeTap() = 0;
  // The error's description when the engine could not start.
  virtual std::optional<std::string> start() = 0;
  virtual void stop() = 0;
  virtual bool isRunning() const = 0;
  // The handler runs on the main thread whenever the input's configuration changes.
  virtual Token observeConfigurationChanges(std::function<void()> handler) = 0;
  virtual void removeConfigurationObserver(Token token) = 0;
};

class AudioSystem {
public:
  virtual ~AudioSystem() = default;
  virtual std::unique_ptr<AudioEngine> makeEngine() = 0;
  // The default input device's localized name; nothing when there is none.
  virtual std::optional<std::string> defaultInputDeviceName() const = 0;
};

} // namespace selvar
