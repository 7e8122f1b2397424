#pragma once
// The meter's vector maths on Accelerate's vDSP, whose conventions the core's Dsp interface
// adopts as they are.

#include "platform/Dsp.h"

namespace selvar {

class VDSPDsp : public Dsp {
public:
  std::unique_ptr<RealFFT> makeRealFFT(unsigned log2n) const override;
  void hannWindow(std::span<float> window) const override;
  float rms(std::span<const float> samples) const override;
  void multiply(std::span<const float> a, std::span<const float> b,
                std::span<float> out) const override;
  void magnitudes(std::span<const float> real, std::span<const float> imag,
                  std::span<float> out) const override;
};

} // namespace selvar
