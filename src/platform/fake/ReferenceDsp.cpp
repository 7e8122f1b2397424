#include "platform/fake/ReferenceDsp.h"

#include <cmath>
#include <numbers>
#include <vector>

namespace selvar {

namespace {

class DirectRealDFT : public RealFFT {
public:
  explicit DirectRealDFT(std::size_t n) : n_(n), cos_(n), sin_(n) {
    for (std::size_t i = 0; i < n; ++i) {
      cos_[i] = std::cos(2.0 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(n));
      sin_[i] = std::sin(2.0 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(n));
    }
  }

  std::size_t size() const override { return n_; }

  void forward(std::span<const float> samples, std::span<float> real,
               std::span<float> imag) override {
    const std::size_t half = n_ / 2;
    for (std::size_t k = 0; k <= half; ++k) {
      double re = 0, im = 0;
      for (std::size_t t = 0; t < n_; ++t) {
        const std::size_t phase = (k * t) % n_;
        re += samples[t] * cos_[phase];
        im -= samples[t] * sin_[phase];
      }
      if (k == 0)
        real[0] = static_cast<float>(2 * re);
      else if (k == half)
        imag[0] = static_cast<float>(2 * re);
      else {
        real[k] = static_cast<float>(2 * re);
        imag[k] = static_cast<float>(2 * im);
      }
    }
  }

private:
  std::size_t n_;
  std::vector<double> cos_, sin_;
};

} // namespace

std::unique_ptr<RealFFT> ReferenceDsp::makeRealFFT(unsigned log2n) const {
  if (log2n < 1 || log2n > 16) return nullptr;
  return std::make_unique<DirectRealDFT>(std::size_t{1} << log2n);
}

} // namespace selvar
