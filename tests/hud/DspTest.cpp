#include "platform/Dsp.h"

#include "platform/fake/ReferenceDsp.h"

#include <cmath>
#include <gtest/gtest.h>
#include <numbers>
#include <random>
#include <vector>

namespace selvar {
namespace {

constexpr std::size_t kN = 1024;
constexpr std::size_t kHalf = kN / 2;

struct Packed {
  std::vector<float> real = std::vector<float>(kHalf);
  std::vector<float> imag = std::vector<float>(kHalf);
};

Packed transform(const Dsp &dsp, const std::vector<float> &x) {
  auto fft = dsp.makeRealFFT(10);
  Packed out;
  fft->forward(x, out.real, out.imag);
  return out;
}

std::vector<float> signal(const std::function<double(std::size_t)> &f) {
  std::vector<float> x(kN);
  for (std::size_t n = 0; n < kN; ++n)
    x[n] = static_cast<float>(f(n));
  return x;
}

const ReferenceDsp referenceDsp;

class RealFFTConventions : public ::testing::TestWithParam<const Dsp *> {};

// Inputs whose transforms are known in closed form pin down the scale and the packing.
TEST_P(RealFFTConventions, DoublesTheDftAndPacksNyquistBesideDc) {
  const Dsp &dsp = *GetParam();
  // DC 0.25 and a Nyquist component 0.5: X[0] = 256, X[512] = 512 → doubled and packed.
  auto edges = transform(dsp, signal([](std::size_t n) { return 0.25 + (n % 2 ? -0.5 : 0.5); }));
  EXPECT_NEAR(edges.real[0], 512.0f, 1e-3);
  EXPECT_NEAR(edges.imag[0], 1024.0f, 1e-3);
  for (std::size_t k = 1; k < kHalf; ++k)
    EXPECT_NEAR(std::hypot(edges.real[k], edges.imag[k]), 0, 1e-3);

  // A sine at bin 37: X[37] = −i·N/2, so the packed value is (0, −N).
  auto sine =
      transform(dsp, signal([](std::size_t n) {
                  return std::sin(2 * std::numbers::pi * 37.0 * static_cast<double>(n) / kN);
                }));
  EXPECT_NEAR(sine.real[37], 0.0f, 1e-2);
  EXPECT_NEAR(sine.imag[37], -1024.0f, 1e-2);
  EXPECT_NEAR(sine.real[0], 0.0f, 1e-2);
}

TEST_P(RealFFTConventions, HannWindowAndRms) {
  const Dsp &dsp = *GetParam();
  std::vector<float> w(kN);
  dsp.hannWindow(w);
  EXPECT_FLOAT_EQ(w[0], 0.0f);        // periodic: starts at zero …
  EXPECT_FLOAT_EQ(w[kN / 2], 1.633f); // … peaks at 2 × 0.8165 in the middle …
  EXPECT_FLOAT_EQ(w[kN - 1], w[1]);   // … and does not repeat the zero at the end
  EXPECT_FLOAT_EQ(w[kN / 4], 0.8165f);

  std::vector<float> x = {3, -4, 0, 0};
  EXPECT_FLOAT_EQ(dsp.rms(x), 2.5f);
  EXPECT_FLOAT_EQ(dsp.rms({}), 0.0f);
}

INSTANTIATE_TEST_SUITE_P(Dsp, RealFFTConventions,
                         ::testing::Values(&platformDsp(), static_cast<const Dsp *>(&referenceDsp)),
                         [](const auto &info) {
                           return info.index == 0 ? "Platform" : "Reference";
                         });

// The platform transform against the direct DFT on signals without structure to hide behind.
TEST(PlatformRealFFT, MatchesDirectDftWithinOnePartInTenThousand) {
  std::mt19937 rng(7);
  std::normal_distribution<float> noise(0, 0.3f);
  const std::vector<std::vector<float>> inputs = {
      signal([&](std::size_t) { return noise(rng); }),
      signal([&](std::size_t n) {
        return 0.1 + 0.6 * std::sin(0.05 * n) + 0.2 * std::cos(2.3 * n) + noise(rng) * 0.01;
      }),
  };
  for (const auto &x : inputs) {
    auto got = transform(platformDsp(), x);
    auto want = transform(referenceDsp, x);
    double errorEnergy = 0, energy = 0, peak = 0;
    for (std::size_t k = 0; k < kHalf; ++k) {
      errorEnergy +=
          std::pow(got.real[k] - want.real[k], 2) + std::pow(got.imag[k] - want.imag[k], 2);
      energy += std::pow(want.real[k], 2) + std::pow(want.imag[k], 2);
      peak = std::max({peak, std::abs(double(want.real[k])), std::abs(double(want.imag[k]))});
    }
    EXPECT_LT(std::sqrt(errorEnergy / energy), 1e-4);
    for (std::size_t k = 0; k < kHalf; ++k) {
      EXPECT_NEAR(got.real[k], want.real[k], 1e-4 * peak) << k;
      EXPECT_NEAR(got.imag[k], want.imag[k], 1e-4 * peak) << k;
    }
  }
}

} // namespace
} // namespace selvar
