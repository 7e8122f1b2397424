#pragma once
// Streaming conversion of captured audio (any rate, any channel count, planar float) to mono
// at a fixed output rate, for the recordings the transcription server takes.

#include "platform/AudioBuffer.h"

#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

namespace selvar {

class AudioConverter {
public:
  virtual ~AudioConverter() = default;
  // Feeds one buffer in the input format the converter was made for and appends the output
  // that is ready (a resampler holds some back). False when the converter failed.
  virtual bool convert(const AudioBuffer &input, std::vector<float> &output) = 0;
  // Ends the stream: appends what was held back. The converter takes no input afterwards.
  virtual bool finish(std::vector<float> &output) = 0;

  // The same with 16-bit output (rounded, clipped to full scale).
  bool convert(const AudioBuffer &input, std::vector<std::int16_t> &output) {
    return quantized([&](std::vector<float> &f) { return convert(input, f); }, output);
  }
  bool finish(std::vector<std::int16_t> &output) {
    return quantized([&](std::vector<float> &f) { return finish(f); }, output);
  }

  // Rounds half away from zero without a library call, so that the loop vectorises.
  static std::int16_t toInt16(float sample) {
    float scaled = sample * 32767.0f;
    if (!(scaled > -32768.0f)) return std::isnan(scaled) ? 0 : -32768;
    if (scaled >= 32767.0f) return 32767;
    return static_cast<std::int16_t>(scaled + (scaled >= 0 ? 0.5f : -0.5f));
  }

private:
  template <typename Step> bool quantized(Step step, std::vector<std::int16_t> &output) {
    scratch_.clear();
    bool ok = step(scratch_);
    output.reserve(output.size() + scratch_.size());
    for (float s : scratch_)
      output.push_back(toInt16(s));
    return ok;
  }
  std::vector<float> scratch_;
};

class AudioConverterFactory {
public:
  virtual ~AudioConverterFactory() = default;
  // A converter from inputRate × inputChannels to mono at outputRate; null when impossible.
  virtual std::unique_ptr<AudioConverter> make(double inputRate, int inputChannels,
                                               double outputRate) = 0;
};

} // namespace selvar
