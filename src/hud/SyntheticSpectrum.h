#pragma once
// Lively but made-up meter input for previewing the pill without a microphone: rolling sines
// under two drifting formant-like bumps over the band index.

#include "hud/SpectrumAnalyzer.h"

#include <array>

namespace selvar::SyntheticSpectrum {

// Levels in [0, 1] at a time in seconds; the same time always gives the same levels.
std::array<float, SpectrumAnalyzer::kBandCount> bands(double seconds);

} // namespace selvar::SyntheticSpectrum
