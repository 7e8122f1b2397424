#pragma once
// Cuts a stream of interleaved float samples, arriving in whatever pieces the sound server
// delivers, into planar buffers of a fixed frame count, as the capture tap hands them on.

#include "platform/AudioBuffer.h"

#include <cstddef>
#include <functional>
#include <span>
#include <vector>

namespace selvar {

class FrameChunker {
public:
  FrameChunker(std::size_t frames, int channels, double sampleRate);

  // Appends interleaved samples (a whole number of frames; a trailing partial frame is
  // dropped) and calls emit for every buffer that is now complete, oldest first.
  void push(std::span<const float> interleaved, const std::function<void(AudioBuffer)> &emit);
  // Appends silence for frames the server reported lost, keeping the timeline intact.
  void pushSilence(std::size_t frames, const std::function<void(AudioBuffer)> &emit);
  // Drops a partly filled buffer.
  void reset() { filled_ = 0; }

private:
  void emitIfFull(const std::function<void(AudioBuffer)> &emit);

  std::size_t frames_;
  int channels_;
  double sampleRate_;
  std::vector<float> planar_; // channels × frames, filled up to filled_ frames per channel
  std::size_t filled_ = 0;
};

} // namespace selvar
