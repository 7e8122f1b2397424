#pragma once
// The format the capture tap asks for: the input's own rate, always one channel.

#include "platform/AudioEngine.h"

#include <optional>

namespace selvar {

// Nothing when the input is not ready (8000 Hz or less, or no channels).
inline std::optional<AudioFormat> tapFormat(AudioFormat input) {
  if (!(input.sampleRate > 8000) || input.channelCount <= 0) return std::nullopt;
  return AudioFormat{input.sampleRate, 1};
}

} // namespace selvar
