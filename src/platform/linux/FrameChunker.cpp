#include "platform/linux/FrameChunker.h"

#include <algorithm>

namespace selvar {

FrameChunker::FrameChunker(std::size_t frames, int channels, double sampleRate)
    : frames_(std::max<std::size_t>(frames, 1)), channels_(std::max(channels, 1)),
      sampleRate_(sampleRate), planar_(frames_ * std::size_t(channels_)) {}

void FrameChunker::push(std::span<const float> interleaved,
                        const std::function<void(AudioBuffer)> &emit) {
  const std::size_t channels = std::size_t(channels_);
  const std::size_t total = interleaved.size() / channels;
  for (std::size_t frame = 0; frame < total;) {
    const std::size_t take = std::min(total - frame, frames_ - filled_);
    for (std::size_t c = 0; c < channels; ++c) {
      float *out = planar_.data() + c * frames_ + filled_;
      for (std::size_t i = 0; i < take; ++i)
        out[i] = interleaved[(frame + i) * channels + c];
    }
    filled_ += take;
    frame += take;
    emitIfFull(emit);
  }
}

void FrameChunker::pushSilence(std::size_t frames, const std::function<void(AudioBuffer)> &emit) {
  while (frames > 0) {
    const std::size_t take = std::min(frames, frames_ - filled_);
    for (std::size_t c = 0; c < std::size_t(channels_); ++c)
      std::fill_n(planar_.data() + c * frames_ + filled_, take, 0.0f);
    filled_ += take;
    frames -= take;
    emitIfFull(emit);
  }
}

void FrameChunker::emitIfFull(const std::function<void(AudioBuffer)> &emit) {
  if (filled_ < frames_) return;
  filled_ = 0;
  emit(AudioBuffer::planar(planar_, channels_, sampleRate_));
}

} // namespace selvar
