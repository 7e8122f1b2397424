#pragma once
// Turns captured audio into the meter's 28 band levels in [0, 1], tuned for speech: log-spaced
// bands from 90 Hz to 6 kHz, an adaptive noise floor per band, a slowly decaying reference peak
// and a height that follows loudness. One analyser per capture session, called on the audio
// thread; nothing is allocated after construction.

#include "platform/AudioBuffer.h"
#include "platform/Dsp.h"

#include <array>
#include <memory>
#include <span>

namespace selvar {

class SpectrumAnalyzer {
public:
  static constexpr std::size_t kBandCount = 28;
  static constexpr std::size_t kFFTSize = 1024;
  static constexpr std::size_t kBinCount = kFFTSize / 2;

  struct BandRange {
    std::size_t lower = 0; // first bin
    std::size_t upper = 0; // one past the last bin
    friend bool operator==(const BandRange &, const BandRange &) = default;
  };

  // Uses the installed services' DSP.
  explicit SpectrumAnalyzer(double sampleRate);
  SpectrumAnalyzer(double sampleRate, const Dsp &dsp);

  // The levels for one buffer (first channel), or an empty span when the buffer holds fewer
  // than 1024 frames (state untouched). The span stays valid until the next call.
  std::span<const float> bands(const AudioBuffer &buffer);
  // The same for samples of one channel.
  std::span<const float> bands(std::span<const float> samples);

  const std::array<BandRange, kBandCount> &bandRanges() const { return bandRanges_; }
  const std::array<float, kBandCount> &floors() const { return floors_; }
  float reference() const { return reference_; }
  float lastRMS() const { return lastRMS_; }

  static std::array<BandRange, kBandCount> makeBandRanges(double sampleRate);

private:
  void analyse(std::span<const float> block);
  void updateBand(std::size_t band, std::array<float, kBandCount> &raw);
  float loudnessGain() const;

  const Dsp &dsp_;
  std::unique_ptr<RealFFT> setup_;
  std::array<float, kFFTSize> window_{};
  std::array<float, kFFTSize> windowed_{};
  std::array<float, kBinCount> real_{};
  std::array<float, kBinCount> imaginary_{};
  std::array<float, kBinCount> magnitudes_{};
  std::array<BandRange, kBandCount> bandRanges_{};
  std::array<float, kBandCount> floors_{};
  float reference_ = 0.3f;
  float lastRMS_ = 0;
  std::array<float, kBandCount> output_{};
};

} // namespace selvar
