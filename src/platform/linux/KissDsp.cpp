#include "platform/linux/KissDsp.h"

#include "records/Log.h"

#include <kiss_fftr.h>
#include <string>
#include <vector>

namespace selvar {

namespace {

class KissRealFFT : public RealFFT {
public:
  KissRealFFT(kiss_fftr_cfg cfg, std::size_t n) : cfg_(cfg), n_(n), bins_(n / 2 + 1) {}
  ~KissRealFFT() override { kiss_fftr_free(cfg_); }
  KissRealFFT(const KissRealFFT &) = delete;
  KissRealFFT &operator=(const KissRealFFT &) = delete;

  std::size_t size() const override { return n_; }

  void forward(std::span<const float> samples, std::span<float> real,
               std::span<float> imag) override {
    kiss_fftr(cfg_, samples.data(), bins_.data());
    // KissFFT returns the plain DFT with N/2 + 1 bins; Accelerate doubles it and folds the
    // (purely real) Nyquist bin into the imaginary slot of the (purely real) DC bin.
    const std::size_t half = n_ / 2;
    real[0] = 2 * bins_[0].r;
    imag[0] = 2 * bins_[half].r;
    for (std::size_t k = 1; k < half; ++k) {
      real[k] = 2 * bins_[k].r;
      imag[k] = 2 * bins_[k].i;
    }
  }

private:
  kiss_fftr_cfg cfg_;
  std::size_t n_;
  std::vector<kiss_fft_cpx> bins_;
};

} // namespace

std::unique_ptr<RealFFT> KissDsp::makeRealFFT(unsigned log2n) const {
  if (log2n < 1 || log2n > 24) return nullptr;
  const std::size_t n = std::size_t{1} << log2n;
  kiss_fftr_cfg cfg = kiss_fftr_alloc(static_cast<int>(n), 0, nullptr, nullptr);
  if (!cfg) {
    Log::write("fft setup failed: kissfft could not allocate " + std::to_string(n) + " points");
    return nullptr;
  }
  return std::make_unique<KissRealFFT>(cfg, n);
}

const Dsp &platformDsp() {
  static const KissDsp dsp;
  return dsp;
}

} // namespace selvar
