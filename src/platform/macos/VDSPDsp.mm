#include "platform/macos/VDSPDsp.h"

#include "records/Log.h"

#include <Accelerate/Accelerate.h>
#include <string>

namespace selvar {

namespace {

class VDSPRealFFT : public RealFFT {
public:
  VDSPRealFFT(FFTSetup setup, unsigned log2n) : setup_(setup), log2n_(log2n) {}
  ~VDSPRealFFT() override { vDSP_destroy_fftsetup(setup_); }
  VDSPRealFFT(const VDSPRealFFT &) = delete;
  VDSPRealFFT &operator=(const VDSPRealFFT &) = delete;

  std::size_t size() const override { return std::size_t{1} << log2n_; }

  void forward(std::span<const float> samples, std::span<float> real,
               std::span<float> imag) override {
    DSPSplitComplex split{real.data(), imag.data()};
    // vDSP reads the real block as interleaved complex pairs (even → real, odd → imaginary).
    vDSP_ctoz(reinterpret_cast<const DSPComplex *>(samples.data()), 2, &split, 1, size() / 2);
    vDSP_fft_zrip(setup_, &split, 1, log2n_, kFFTDirection_Forward);
  }

private:
  FFTSetup setup_;
  unsigned log2n_;
};

} // namespace

std::unique_ptr<RealFFT> VDSPDsp::makeRealFFT(unsigned log2n) const {
  FFTSetup setup = vDSP_create_fftsetup(log2n, kFFTRadix2);
  if (!setup) {
    Log::write("fft setup failed: vDSP could not prepare 2^" + std::to_string(log2n) + " points");
    return nullptr;
  }
  return std::make_unique<VDSPRealFFT>(setup, log2n);
}

void VDSPDsp::hannWindow(std::span<float> window) const {
  vDSP_hann_window(window.data(), window.size(), vDSP_HANN_NORM);
}

float VDSPDsp::rms(std::span<const float> samples) const {
  float result = 0;
  vDSP_rmsqv(samples.data(), 1, &result, samples.size());
  return result;
}

void VDSPDsp::multiply(std::span<const float> a, std::span<const float> b,
                       std::span<float> out) const {
  vDSP_vmul(a.data(), 1, b.data(), 1, out.data(), 1, out.size());
}

void VDSPDsp::magnitudes(std::span<const float> real, std::span<const float> imag,
                         std::span<float> out) const {
  // vDSP's split-complex type has mutable pointers even where it only reads through them.
  DSPSplitComplex split{const_cast<float *>(real.data()), const_cast<float *>(imag.data())};
  vDSP_zvabs(&split, 1, out.data(), 1, out.size());
}

const Dsp &platformDsp() {
  static const VDSPDsp dsp;
  return dsp;
}

} // namespace selvar
