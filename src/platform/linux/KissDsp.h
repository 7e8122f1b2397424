#pragma once
// The meter's vector maths on Linux: KissFFT for the transform, plain loops for the rest, with
// the output rescaled and packed the way Accelerate delivers it.

#include "platform/PortableDsp.h"

namespace selvar {

class KissDsp : public PortableDsp {
public:
  std::unique_ptr<RealFFT> makeRealFFT(unsigned log2n) const override;
};

} // namespace selvar
