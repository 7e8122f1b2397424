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
  double sum = 0;
  for (float x : samples)
    sum += static_cast<double>(x) * x;
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
