#pragma once
// Audio conversion with libsoxr: channels are averaged to mono first, then the mono stream is
// resampled with soxr's high-quality streaming resampler.

#include "platform/AudioConverter.h"

namespace selvar {

class SoxrAudioConverterFactory : public AudioConverterFactory {
public:
  std::unique_ptr<AudioConverter> make(double inputRate, int inputChannels,
                                       double outputRate) override;
};

} // namespace selvar
