#pragma once
// Streaming conversion of captured audio to mono at another rate with AVAudioConverter.

#include "platform/AudioConverter.h"

namespace selvar {

class AudioConverterAdapter : public AudioConverterFactory {
public:
  std::unique_ptr<AudioConverter> make(double inputRate, int inputChannels,
                                       double outputRate) override;
};

} // namespace selvar
