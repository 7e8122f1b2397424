#include "platform/PortableDsp.h"

#include <cmath>
#include <numbers>

namespace selvar {

void PortableDsp::hannWindow(std::span<float> window) const {
  // Accelerate's normalised flavour: periodic, scaled so the window keeps the signal's power.
  const double n = static_cast<double>(window.size());
  for (std::size_t i = 0; i < window.size(); ++i)
    window[i] = static_cast<float>(0.8165 * (1.0 - std::cos(2.0 * std::numbers::pi * i / n)));
}

float PortableDsp::rms(std::span<const float> samples) const {
  if (samples.empty()) return 0;
  // Independent partial sums let the compiler keep several additions in flight (or in one
  // vector register) instead of waiting on a single running total.
  constexpr std::size_t kLanes = 8;
  float lanes[kLanes] = {};
  std::size_t i = 0;
  for (; i + kLanes <= samples.size(); i += kLanes)
    for (std::size_t k = 0; k < kLanes; ++k)
      lanes[k] += samples[i + k] * samples[i + k];
  double sum = 0;
  for (; i < samples.size(); ++i)
    sum += static_cast<double>(samples[i]) * samples[i];
  for (float lane : lanes)
    sum += lane;
  return static_cast<float>(std::sqrt(sum / static_cast<double>(samples.size())));
}

void PortableDsp::multiply(std::span<const float> a, std::span<const float> b,
                           std::span<float> out) const {
  for (std::size_t i = 0; i < out.size(); ++i)
    out[i] = a[i] * b[i];
}

void PortableDsp::magnitudes(std::span<const float> real, std::span<const float> imag,
                             std::span<float> out) const {
  for (std::size_t i = 0; i < out.size(); ++i)
    out[i] = std::sqrt(real[i] * real[i] + imag[i] * imag[i]);
}

} // namespace selvar
