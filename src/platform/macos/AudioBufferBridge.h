#pragma once
// Audio buffers between AVAudioPCMBuffer and the core's AudioBuffer (planar float samples).

#include "platform/AudioBuffer.h"

#import <AVFAudio/AVFAudio.h>

namespace selvar {

// Copies the float samples of any layout into planar order; an empty buffer when the samples
// are not floats.
inline AudioBuffer audioBufferFrom(AVAudioPCMBuffer *buffer) {
  float *const *data = buffer.floatChannelData;
  if (!data) return {};
  const int channels = static_cast<int>(buffer.format.channelCount);
  const std::size_t frames = buffer.frameLength;
  const std::size_t stride = buffer.stride;
  std::vector<float> planar(frames * static_cast<std::size_t>(channels));
  for (int c = 0; c < channels; ++c) {
    const float *source = buffer.format.interleaved ? data[0] + c : data[c];
    float *target = planar.data() + static_cast<std::size_t>(c) * frames;
    for (std::size_t f = 0; f < frames; ++f)
      target[f] = source[f * stride];
  }
  return AudioBuffer::planar(std::move(planar), channels, buffer.format.sampleRate);
}

// A buffer in the standard (deinterleaved 32-bit float) format; nil when none can be made.
inline AVAudioPCMBuffer *pcmBufferFrom(const AudioBuffer &buffer) {
  if (buffer.channelCount <= 0 || buffer.sampleRate <= 0) return nil;
  AVAudioFormat *format = [[AVAudioFormat alloc]
      initStandardFormatWithSampleRate:buffer.sampleRate
                              channels:static_cast<AVAudioChannelCount>(buffer.channelCount)];
  if (!format) return nil;
  const auto frames = static_cast<AVAudioFrameCount>(buffer.frameCount);
  AVAudioPCMBuffer *pcm = [[AVAudioPCMBuffer alloc] initWithPCMFormat:format frameCapacity:frames];
  if (!pcm) return nil;
  pcm.frameLength = frames;
  for (int c = 0; c < buffer.channelCount; ++c) {
    auto samples = buffer.channel(c);
    std::copy(samples.begin(), samples.end(), pcm.floatChannelData[c]);
  }
  return pcm;
}

} // namespace selvar
