#include "hud/SyntheticSpectrum.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace selvar::SyntheticSpectrum {

namespace {

constexpr double kTau = 2 * std::numbers::pi;

double bump(double band, double centre, double width) {
  const double z = (band - centre) / width;
  return std::exp(-0.5 * z * z);
}

// A syllable-like swell, so the preview breathes instead of buzzing evenly.
double syllable(double t) {
  return 0.55 + 0.45 * std::sin(kTau * 2.1 * t) * std::sin(kTau * 0.37 * t);
}

} // namespace

std::array<float, SpectrumAnalyzer::kBandCount> bands(double t) {
  const double lowCentre = 7 + 3 * std::sin(kTau * 0.23 * t);
  const double highCentre = 18 + 4 * std::sin(kTau * 0.17 * t + 1.1);
  const double envelope = syllable(t);
  std::array<float, SpectrumAnalyzer::kBandCount> out{};
  for (std::size_t i = 0; i < out.size(); ++i) {
    const double b = static_cast<double>(i);
    const double ripple = 0.18 + 0.10 * std::sin(kTau * 0.9 * t + 0.45 * b) +
                          0.06 * std::sin(kTau * 2.7 * t - 0.8 * b);
    const double formants = 0.55 * bump(b, lowCentre, 2.5) + 0.40 * bump(b, highCentre, 3.5);
    out[i] = static_cast<float>(std::clamp((ripple + formants) * envelope, 0.0, 1.0));
  }
  return out;
}

} // namespace selvar::SyntheticSpectrum
