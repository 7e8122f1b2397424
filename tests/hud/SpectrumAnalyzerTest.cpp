#include "hud/SpectrumAnalyzer.h"

#include "platform/fake/FakeEnvironment.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numbers>
#include <vector>

namespace selvar {
namespace {

using Range = SpectrumAnalyzer::BandRange;

std::vector<float> tone(double hz, double amplitude, std::size_t frames = 2048,
                        double rate = 48000) {
  std::vector<float> x(frames);
  for (std::size_t n = 0; n < frames; ++n)
    x[n] = static_cast<float>(amplitude * std::sin(2 * std::numbers::pi * hz * n / rate));
  return x;
}

AudioBuffer mono(std::vector<float> samples) {
  return AudioBuffer::planar(std::move(samples), 1, 48000);
}

std::size_t bandContaining(const SpectrumAnalyzer &a, double hz) {
  const auto bin = static_cast<std::size_t>(hz / 46.875);
  const auto &ranges = a.bandRanges();
  auto it = std::find_if(ranges.begin(), ranges.end(),
                         [&](const Range &r) { return r.lower <= bin && bin < r.upper; });
  return static_cast<std::size_t>(it - ranges.begin());
}

TEST(SpectrumBandTable, At48kHzBinForBin) {
  const std::array<Range, 28> expected{
      {{1, 2},   {2, 3},   {2, 3},   {3, 4},   {3, 4},   {4, 5},    {4, 5},
       {5, 6},   {6, 7},   {7, 8},   {8, 9},   {9, 11},  {11, 13},  {13, 15},
       {15, 18}, {18, 21}, {21, 24}, {24, 28}, {28, 33}, {33, 38},  {38, 44},
       {44, 52}, {52, 60}, {60, 70}, {70, 81}, {81, 94}, {94, 110}, {110, 128}}};
  EXPECT_EQ(SpectrumAnalyzer::makeBandRanges(48000), expected);
  // Rates that cannot be right fall back to the 48 kHz table.
  for (double rate : {0.0, std::numeric_limits<double>::quiet_NaN(), 8000.0, -44100.0,
                      std::numeric_limits<double>::infinity()})
    EXPECT_EQ(SpectrumAnalyzer::makeBandRanges(rate), expected) << rate;
}

TEST(SpectrumBandTable, At44_1kHzTheBinsWiden) {
  auto ranges = SpectrumAnalyzer::makeBandRanges(44100); // 43.07 Hz a bin
  EXPECT_EQ(ranges.front(), (Range{2, 3}));              // 90 Hz lies in bin 2
  EXPECT_EQ(ranges.back(), (Range{119, 139}));           // 6000 Hz is bin 139.3
}

TEST(SpectrumAnalyzer, ReadsOnlyTheLastFullBlockOfTheFirstChannel) {
  SpectrumAnalyzer analyzer(48000, platformDsp());
  const auto loud = tone(1000, 0.3, 1024);
  const std::vector<float> quiet(1024, 0.0f);
  auto joined = [](std::vector<float> a, const std::vector<float> &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
  };
  struct Case {
    const char *name;
    AudioBuffer buffer;
    bool lit;
  } cases[] = {
      {"loud mono", mono(loud), true},
      {"loud head, silent tail", mono(joined(loud, quiet)), false},
      {"silent head, loud tail", mono(joined(quiet, loud)), true},
      {"silent left, loud right", AudioBuffer::planar(joined(quiet, loud), 2, 48000), false},
      {"loud left, silent right", AudioBuffer::planar(joined(loud, quiet), 2, 48000), true},
  };
  for (const auto &c : cases) {
    auto bands = analyzer.bands(c.buffer);
    ASSERT_EQ(bands.size(), 28u) << c.name;
    EXPECT_EQ(std::any_of(bands.begin(), bands.end(), [](float v) { return v > 0; }), c.lit)
        << c.name;
  }
}

TEST(SpectrumAnalyzer, TooLittleAudioYieldsNothingAndChangesNothing) {
  SpectrumAnalyzer analyzer(48000, platformDsp());
  analyzer.bands(mono(tone(1000, 0.1)));
  const auto floors = analyzer.floors();
  const float reference = analyzer.reference();
  const float rms = analyzer.lastRMS();
  for (const AudioBuffer &buffer :
       {mono(tone(1000, 0.1, 512)), mono(tone(1000, 0.1, 1023)), AudioBuffer{},
        AudioBuffer::planar(tone(1000, 0.1), 0, 48000)}) {
    EXPECT_TRUE(analyzer.bands(buffer).empty());
    EXPECT_EQ(analyzer.floors(), floors);
    EXPECT_EQ(analyzer.reference(), reference);
    EXPECT_EQ(analyzer.lastRMS(), rms);
  }
}

TEST(SpectrumAnalyzer, SilenceRelaxesFloorsAndDecaysTheReference) {
  SpectrumAnalyzer analyzer(48000, platformDsp());
  analyzer.bands(mono(tone(1000, 0.1))); // drops the floors of bands the tone does not reach
  auto floors = analyzer.floors();
  float reference = analyzer.reference();
  ASSERT_EQ(floors.back(), 0.0f);

  const auto hiss = tone(3000, 0.005); // RMS 0.0035: below the gate
  for (int call = 0; call < 3; ++call) {
    auto bands = analyzer.bands(mono(hiss));
    ASSERT_EQ(bands.size(), 28u);
    EXPECT_TRUE(std::all_of(bands.begin(), bands.end(), [](float v) { return v == 0; }));
    for (std::size_t i = 0; i < floors.size(); ++i) {
      EXPECT_FLOAT_EQ(analyzer.floors()[i], std::min(floors[i] + 0.0002f, 0.02f)) << i;
      floors[i] = analyzer.floors()[i];
    }
    EXPECT_FLOAT_EQ(analyzer.reference(), std::max(reference * 0.995f, 0.12f));
    reference = analyzer.reference();
  }
  for (int call = 0; call < 500; ++call)
    analyzer.bands(mono(std::vector<float>(2048)));
  EXPECT_FLOAT_EQ(analyzer.reference(), 0.12f);
  for (float floor : analyzer.floors())
    EXPECT_FLOAT_EQ(floor, 0.02f);
}

TEST(SpectrumAnalyzer, PureToneLightsItsBandAndLeavesDistantBandsDark) {
  for (double hz : {150.0, 440.0, 1000.0, 2500.0, 4000.0}) {
    SpectrumAnalyzer analyzer(48000, platformDsp());
    auto bands = analyzer.bands(mono(tone(hz, 0.02)));
    ASSERT_EQ(bands.size(), 28u);
    const std::size_t home = bandContaining(analyzer, hz);
    EXPECT_NEAR(bands[home], 0.49f, 0.01f) << hz; // the loudness gain of a tone at −34 dBFS
    EXPECT_EQ(bands[home], *std::max_element(bands.begin(), bands.end())) << hz;
    // Far outside the window's main lobe, leakage stays under the meter's floor.
    const double toneBin = hz / 46.875;
    for (std::size_t i = 0; i < bands.size(); ++i) {
      const auto [lower, upper] = analyzer.bandRanges()[i];
      if (double(upper - 1) + 10 < toneBin || double(lower) > toneBin + 10) {
        EXPECT_EQ(bands[i], 0.0f) << hz << " Hz, band " << i;
      }
    }
  }
}

TEST(SpectrumAnalyzer, SteadyHumFadesOutWhileSpeechStillShows) {
  SpectrumAnalyzer analyzer(48000, platformDsp());
  const auto hum = tone(150, 0.01);
  for (int call = 0; call < 2600; ++call)
    analyzer.bands(mono(hum));
  auto settled = analyzer.bands(mono(hum));
  EXPECT_TRUE(std::all_of(settled.begin(), settled.end(), [](float v) { return v == 0; }));

  auto speech = tone(2500, 0.1);
  for (std::size_t n = 0; n < speech.size(); ++n)
    speech[n] += hum[n];
  auto bands = analyzer.bands(mono(speech));
  EXPECT_GT(bands[bandContaining(analyzer, 2500)], 0.5f);
  EXPECT_EQ(bands[bandContaining(analyzer, 150)], 0.0f);
}

// The installed (reference) DSP and the platform's must draw the same meter.
TEST(SpectrumAnalyzer, SameMeterWhateverTheDsp) {
  FakeEnvironment env;
  SpectrumAnalyzer reference(48000), platform(48000, platformDsp());
  for (double hz : {120.0, 700.0, 3100.0}) {
    const auto buffer = mono(tone(hz, 0.05));
    auto want = reference.bands(buffer);
    auto got = platform.bands(buffer);
    for (std::size_t i = 0; i < 28; ++i)
      EXPECT_NEAR(got[i], want[i], 1e-4) << hz << " " << i;
  }
}

} // namespace
} // namespace selvar
