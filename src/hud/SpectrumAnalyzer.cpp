#include "hud/SpectrumAnalyzer.h"

#include "platform/Services.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace selvar {

namespace {

constexpr float kInitialFloor = 0.02f;
constexpr float kSilenceRMS = 0.004f;

// Both failures below are packaging or start-up faults, not conditions to run on with.
[[noreturn]] void fatal(const char *what) {
  std::fprintf(stderr, "fatal: %s\n", what);
  std::abort();
}

const Dsp &installedDsp() {
  if (!services().dsp) fatal("no DSP service installed before capture");
  return *services().dsp;
}

// 45 dB of display range above −55 dB.
float levelOf(float average) {
  const float level = std::min((20 * std::log10(average + 1e-7f) + 55) / 45, 1.0f);
  return std::max(level, 0.0f);
}

} // namespace

SpectrumAnalyzer::SpectrumAnalyzer(double sampleRate)
    : SpectrumAnalyzer(sampleRate, installedDsp()) {}

SpectrumAnalyzer::SpectrumAnalyzer(double sampleRate, const Dsp &dsp)
    : dsp_(dsp), setup_(dsp.makeRealFFT(10)), bandRanges_(makeBandRanges(sampleRate)) {
  if (!setup_) fatal("no 1024-point FFT set-up");
  dsp_.hannWindow(window_);
  floors_.fill(kInitialFloor);
}

std::array<SpectrumAnalyzer::BandRange, SpectrumAnalyzer::kBandCount>
SpectrumAnalyzer::makeBandRanges(double sampleRate) {
  // Single precision on purpose: the top edge must land on exactly 6000 Hz (bin 128 at 48 kHz).
  const float binHz = std::isfinite(sampleRate) && sampleRate > 8000
                          ? static_cast<float>(sampleRate / kFFTSize)
                          : 46.875f;
  auto edge = [](std::size_t j) {
    return 90.0f * std::pow(66.666664f, static_cast<float>(j) / static_cast<float>(kBandCount));
  };
  const std::size_t lastBin = kBinCount - 1;
  std::array<BandRange, kBandCount> ranges{};
  for (std::size_t i = 0; i < kBandCount; ++i) {
    const auto lower = std::min(static_cast<std::size_t>(edge(i) / binHz), lastBin);
    const auto upper =
        std::min(std::max(lower + 1, static_cast<std::size_t>(edge(i + 1) / binHz)), lastBin);
    ranges[i] = {lower, upper};
  }
  return ranges;
}

std::span<const float> SpectrumAnalyzer::bands(const AudioBuffer &buffer) {
  auto first = buffer.channel(0);
  // A buffer whose storage is shorter than it claims is treated as having no data.
  if (first.empty() || buffer.samples->size() < buffer.frameCount) return {};
  return bands(first);
}

std::span<const float> SpectrumAnalyzer::bands(std::span<const float> samples) {
  if (samples.size() < kFFTSize) return {};
  analyse(samples.last(kFFTSize));
  return output_;
}

void SpectrumAnalyzer::analyse(std::span<const float> block) {
  lastRMS_ = dsp_.rms(block);
  dsp_.multiply(block, window_, windowed_);
  if (lastRMS_ < kSilenceRMS) {
    // Pauses let the floors relax back and the reference decay towards a quieter speaker.
    for (auto &floor : floors_)
      floor = std::min(floor + 0.0002f, kInitialFloor);
    reference_ = std::max(reference_ * 0.995f, 0.12f);
    output_.fill(0);
    return;
  }
  setup_->forward(windowed_, real_, imaginary_);
  dsp_.magnitudes(real_, imaginary_, magnitudes_);

  std::array<float, kBandCount> raw{};
  for (std::size_t i = 0; i < kBandCount; ++i)
    updateBand(i, raw);
  const float peak = *std::max_element(raw.begin(), raw.end());
  reference_ = std::max(std::max(peak, reference_ * 0.985f), 0.1f);

  const float gain = loudnessGain();
  for (std::size_t i = 0; i < kBandCount; ++i) {
    const float x = std::pow(raw[i] / reference_, 0.85f);
    output_[i] = x >= 1 ? gain : x >= 0.1f ? gain * x : 0;
  }
}

void SpectrumAnalyzer::updateBand(std::size_t band, std::array<float, kBandCount> &raw) {
  const auto [lower, upper] = bandRanges_[band];
  float sum = 0;
  for (std::size_t bin = lower; bin < upper; ++bin)
    sum += magnitudes_[bin];
  const float level = levelOf(sum / static_cast<float>(std::max<std::size_t>(upper - lower, 1)));
  // The floor drops with the level at once and creeps up slowly, so steady hum fades out.
  floors_[band] = std::min(floors_[band] + 0.0004f, level);
  raw[band] = std::max(level - floors_[band], 0.0f);
}

// Even a quiet voice shows at least a fifth of the shape.
float SpectrumAnalyzer::loudnessGain() const {
  const float loud = std::max(std::min((20 * std::log10(lastRMS_ + 1e-7f) + 45) / 28, 1.0f), 0.0f);
  return std::pow(loud, 0.8f) * 0.8f + 0.2f;
}

} // namespace selvar
