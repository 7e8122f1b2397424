#pragma once
// One buffer of captured audio as the core sees it: float samples, planar (all frames of channel
// 0, then channel 1 …), in shared read-only storage so that handing it to the recognizer, the
// recorder and the meter copies nothing. The platform layers fill it from their native buffers.

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace selvar {

struct AudioBuffer {
  std::shared_ptr<const std::vector<float>> samples;
  std::size_t frameCount = 0;
  int channelCount = 0;
  double sampleRate = 0;

  std::span<const float> channel(int index) const {
    if (!samples || index < 0 || index >= channelCount) return {};
    return {samples->data() + static_cast<std::size_t>(index) * frameCount, frameCount};
  }

  // Builds a buffer from planar samples (channelCount × frameCount values).
  static AudioBuffer planar(std::vector<float> data, int channelCount, double sampleRate) {
    AudioBuffer b;
    b.channelCount = channelCount;
    b.frameCount = channelCount > 0 ? data.size() / static_cast<std::size_t>(channelCount) : 0;
    b.sampleRate = sampleRate;
    b.samples = std::make_shared<const std::vector<float>>(std::move(data));
    return b;
  }
};

} // namespace selvar
