#pragma once
// Plain-loop versions of the stateless Dsp operations, for platforms without a vector library
// (and for the test fake). The FFT is left to the subclass.

#include "platform/Dsp.h"

namespace selvar {

class PortableDsp : public Dsp {
public:
  void hannWindow(std::span<float> window) const override;
  float rms(std::span<const float> samples) const override;
  void multiply(std::span<const float> a, std::span<const float> b,
                std::span<float> out) const override;
  void magnitudes(std::span<const float> real, std::span<const float> imag,
                  std::span<float> out) const override;
};

} // namespace selvar
