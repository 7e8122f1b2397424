#pragma once
// The vector maths behind the level meter: a real FFT, the Hann window, RMS and friends. Every
// platform reproduces Accelerate's conventions exactly, so the meter looks the same everywhere:
// - the forward real FFT returns twice the mathematical DFT (X[k] = Σ x[n]·e^(−2πikn/N)), as
//   N/2 split-complex values where element 0 packs 2·Re X[0] in its real part and
//   2·Re X[N/2] in its imaginary part;
// - the normalised Hann window is periodic: w[n] = 0.8165 × (1 − cos(2πn/N)), n = 0 … N−1;
// - RMS is sqrt(Σx² / N).

#include <cstddef>
#include <memory>
#include <span>

namespace selvar {

// A real FFT of one fixed power-of-two size. All memory is taken at creation; forward() never
// allocates. Not thread-safe: one set-up per thread.
class RealFFT {
public:
  virtual ~RealFFT() = default;
  // Number of real input samples (a power of two).
  virtual std::size_t size() const = 0;
  // samples: size() values; real and imag: size()/2 values each, packed as described above.
  virtual void forward(std::span<const float> samples, std::span<float> real,
                       std::span<float> imag) = 0;
};

// Stateless vector operations plus the FFT factory. Spans passed together have equal sizes.
class Dsp {
public:
  virtual ~Dsp() = default;
  // A set-up for 2^log2n points, or null when the platform cannot make one.
  virtual std::unique_ptr<RealFFT> makeRealFFT(unsigned log2n) const = 0;
  virtual void hannWindow(std::span<float> window) const = 0;
  virtual float rms(std::span<const float> samples) const = 0;
  virtual void multiply(std::span<const float> a, std::span<const float> b,
                        std::span<float> out) const = 0;
  // out[k] = |real[k] + i·imag[k]|.
  virtual void magnitudes(std::span<const float> real, std::span<const float> imag,
                          std::span<float> out) const = 0;
};

// The platform's implementation. For start-up code, tools and tests only: the core reaches the
// installed one through services().dsp, so it never links against a platform.
const Dsp &platformDsp();

} // namespace selvar
