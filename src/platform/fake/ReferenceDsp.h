#pragma once
// A Dsp for tests: the FFT is a direct O(N²) DFT in double precision, scaled and packed by the
// same conventions the platforms follow. Slow, obviously right, and free of platform libraries.

#include "platform/PortableDsp.h"

namespace selvar {

class ReferenceDsp : public PortableDsp {
public:
  std::unique_ptr<RealFFT> makeRealFFT(unsigned log2n) const override;
};

} // namespace selvar
