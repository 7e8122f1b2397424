#include "servers/WAVRecorder.h"

#include "platform/AudioConverter.h"
#include "platform/fake/FakeEnvironment.h"
#include "platform/linux/SoxrAudioConverter.h"
#include "servers/TestServers.h"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <numbers>

namespace selvar {
namespace {

namespace fs = std::filesystem;

// Passes channel 0 through unchanged: the file layout without resampling in the way.
class PassThrough : public AudioConverter {
public:
  using AudioConverter::convert;
  using AudioConverter::finish;
  bool convert(const AudioBuffer &in, std::vector<float> &out) override {
    auto c = in.channel(0);
    out.insert(out.end(), c.begin(), c.end());
    return true;
  }
  bool finish(std::vector<float> &) override { return true; }
};
class PassThroughFactory : public AudioConverterFactory {
public:
  std::unique_ptr<AudioConverter> make(double, int, double) override {
    return std::make_unique<PassThrough>();
  }
};

std::uint32_t u32(const std::string &b, std::size_t at) {
  std::uint32_t v = 0;
  for (int i = 3; i >= 0; --i)
    v = (v << 8) | static_cast<unsigned char>(b[at + i]);
  return v;
}

std::vector<float> samplesFrom(const std::string &file, std::size_t skipBytes) {
  std::vector<float> out;
  for (std::size_t i = skipBytes; i + 1 < file.size(); i += 2) {
    auto s = static_cast<std::int16_t>(static_cast<unsigned char>(file[i]) |
                                       (static_cast<unsigned char>(file[i + 1]) << 8));
    out.push_back(static_cast<float>(s) / 32767.0f);
  }
  return out;
}

// Planar stereo: frames of sum of sines (Hz, amplitude), both channels alike.
AudioBuffer tone(double rate, std::size_t frames, std::size_t offset,
                 std::vector<std::pair<double, double>> parts, int channels = 2) {
  std::vector<float> data(frames * channels);
  for (std::size_t i = 0; i < frames; ++i) {
    double v = 0, t = static_cast<double>(offset + i) / rate;
    for (auto [hz, amp] : parts)
      v += amp * std::sin(2 * std::numbers::pi * hz * t);
    for (int c = 0; c < channels; ++c)
      data[c * frames + i] = static_cast<float>(v);
  }
  return AudioBuffer::planar(std::move(data), channels, rate);
}

// Power of what is left after the best-fitting sine at hz, relative to that sine, in dB.
double residualDb(const std::vector<float> &y, double rate, double hz) {
  std::size_t n = y.size();
  double c = 0, s = 0;
  for (std::size_t i = 0; i < n; ++i) {
    double w = 2 * std::numbers::pi * hz * static_cast<double>(i) / rate;
    c += y[i] * std::cos(w);
    s += y[i] * std::sin(w);
  }
  c *= 2.0 / n, s *= 2.0 / n;
  double fitPower = 0, restPower = 0;
  for (std::size_t i = 0; i < n; ++i) {
    double w = 2 * std::numbers::pi * hz * static_cast<double>(i) / rate;
    double fit = c * std::cos(w) + s * std::sin(w);
    fitPower += fit * fit;
    restPower += (y[i] - fit) * (y[i] - fit);
  }
  return 10 * std::log10(restPower / fitPower);
}

TEST(AudioConverterTest, SixteenBitSamplesRoundAndClip) {
  struct Case {
    float in;
    std::int16_t out;
  } cases[] = {{0, 0},
               {1, 32767},
               {-1, -32767},
               {1.5f, 32767},
               {-1.5f, -32768},
               {0.4f / 32767, 0},
               {0.6f / 32767, 1},
               {-0.6f / 32767, -1},
               {std::nanf(""), 0},
               {INFINITY, 32767},
               {-INFINITY, -32768}};
  for (const auto &c : cases)
    EXPECT_EQ(AudioConverter::toInt16(c.in), c.out) << c.in;
}

class WAVRecorderTest : public ::testing::Test {
protected:
  void feed(WAVRecorder &r, std::size_t samples, std::size_t chunk = 1000) {
    for (std::size_t done = 0; done < samples; done += chunk) {
      std::size_t n = std::min(chunk, samples - done);
      std::vector<float> data(n);
      for (std::size_t i = 0; i < n; ++i)
        data[i] = static_cast<float>((done + i) % 100) / 1000;
      r.append(AudioBuffer::planar(std::move(data), 1, 16000));
    }
  }

  FakeEnvironment env;
  PassThroughFactory passThrough;
  SoxrAudioConverterFactory soxr;
};

TEST_F(WAVRecorderTest, OneSecondHasTheHeaderWrittenOverItsFirstBytes) {
  fs::create_directories(env.files.tempDir());
  auto r = WAVRecorder::create(16000, 1, &passThrough);
  ASSERT_TRUE(r);
  EXPECT_EQ(r->url().parent_path(), env.files.tempDir());
  EXPECT_TRUE(r->url().filename().string().starts_with("selvar-"));
  feed(*r, 16000);
  auto url = r->finish();
  ASSERT_TRUE(url);
  std::string file = testing::readAll(*url);
  ASSERT_EQ(file.size(), 32000u);
  auto h = WAVRecorder::header(32000);
  EXPECT_EQ(file.substr(0, 44), std::string(h.begin(), h.end()));
  EXPECT_EQ(file.substr(0, 4), "RIFF");
  EXPECT_EQ(u32(file, 4), 32036u);
  EXPECT_EQ(file.substr(8, 8), "WAVEfmt ");
  EXPECT_EQ(u32(file, 16), 16u);
  EXPECT_EQ(u32(file, 20), 0x00010001u); // PCM, one channel
  EXPECT_EQ(u32(file, 24), 16000u);
  EXPECT_EQ(u32(file, 28), 32000u);
  EXPECT_EQ(u32(file, 32), 0x00100002u); // block align 2, 16 bits
  EXPECT_EQ(file.substr(36, 4), "data");
  EXPECT_EQ(u32(file, 40), 32000u);
  auto samples = samplesFrom(file, 44); // sample 22 onwards survives
  EXPECT_NEAR(samples[0], 0.022, 1e-4);
  EXPECT_NEAR(samples.back(), 0.099, 1e-4);
}

TEST_F(WAVRecorderTest, RecordingsTooShortToSendAreDeleted) {
  struct Case {
    std::size_t samples;
    bool kept;
  } cases[] = {{0, false}, {1, false}, {2000, false}, {2001, true}};
  for (const auto &c : cases) {
    auto r = WAVRecorder::create(16000, 1, &passThrough, env.root());
    ASSERT_TRUE(r);
    feed(*r, c.samples);
    fs::path file = r->url();
    auto url = r->finish();
    EXPECT_EQ(url.has_value(), c.kept) << c.samples;
    EXPECT_EQ(fs::exists(file), c.kept) << c.samples;
    if (c.kept) {
      EXPECT_EQ(fs::file_size(file), c.samples * 2);
    }
    EXPECT_FALSE(r->finish()) << "a second finish has nothing to give";
  }
}

TEST_F(WAVRecorderTest, AnUnfinishedRecordingLeavesNoFileBehind) {
  fs::path file;
  {
    auto r = WAVRecorder::create(48000, 2, &soxr, env.root());
    ASSERT_TRUE(r);
    r->append(tone(48000, 4800, 0, {{440, 0.3}}));
    file = r->url();
    EXPECT_TRUE(fs::exists(file));
  }
  EXPECT_FALSE(fs::exists(file));
  EXPECT_FALSE(WAVRecorder::create(48000, 2, &soxr, env.root() / "missing-folder"));
  EXPECT_FALSE(WAVRecorder::create(0, 2, &soxr, env.root()));
}

TEST_F(WAVRecorderTest, A48kStereoToneComesOutClean16kMono) {
  auto r = WAVRecorder::create(48000, 2, &soxr, env.root());
  ASSERT_TRUE(r);
  // 1 kHz plus an equally loud 11 kHz tone that a careless decimator would fold onto 5 kHz.
  const std::size_t total = 48000 * 2, chunk = 2048;
  for (std::size_t at = 0; at < total; at += chunk)
    r->append(tone(48000, std::min(chunk, total - at), at, {{1000, 0.3}, {11000, 0.3}}));
  auto url = r->finish();
  ASSERT_TRUE(url);
  std::string file = testing::readAll(*url);
  EXPECT_NEAR(static_cast<double>(file.size()), 64000.0, 200.0); // 2 s at 16 kHz, 16-bit
  auto samples = samplesFrom(file, 44);
  // Leave out the resampler's start and end transients; keep whole cycles of 1 kHz.
  std::vector<float> middle(samples.begin() + 1600, samples.begin() + 1600 + 16 * 1800);
  EXPECT_LT(residualDb(middle, 16000, 1000), -60);
  double peak = 0;
  for (float s : middle)
    peak = std::max(peak, static_cast<double>(std::fabs(s)));
  EXPECT_NEAR(peak, 0.3, 0.01); // the 1 kHz tone passes at full level
}

TEST_F(WAVRecorderTest, ANewInputFormatMidwayStartsANewConverter) {
  auto r = WAVRecorder::create(48000, 2, &soxr, env.root());
  ASSERT_TRUE(r);
  r->append(tone(48000, 48000, 0, {{500, 0.2}}));
  r->append(tone(44100, 44100, 0, {{500, 0.2}}, 1));
  r->append(AudioBuffer::planar({}, 1, 44100)); // nothing to write
  auto url = r->finish();
  ASSERT_TRUE(url);
  EXPECT_NEAR(static_cast<double>(fs::file_size(*url)), 64000.0, 200.0);
}

// The session hears exactly what the file holds, including the converters' flushed tails
// across a change of input format.
TEST_F(WAVRecorderTest, TheListenerGetsEverySampleTheFileGets) {
  auto r = WAVRecorder::create(48000, 2, &soxr, env.root());
  ASSERT_TRUE(r);
  std::vector<std::int16_t> heard;
  r->setListener(
      [&](std::span<const std::int16_t> s) { heard.insert(heard.end(), s.begin(), s.end()); });
  r->append(tone(48000, 48000, 0, {{500, 0.2}}));
  r->append(tone(44100, 44100, 0, {{500, 0.2}}, 1));
  auto url = r->finish();
  ASSERT_TRUE(url);
  std::string file = testing::readAll(*url);
  // The header is written over the first 44 bytes of audio.
  ASSERT_EQ(heard.size() * 2, file.size());
  EXPECT_EQ(0, std::memcmp(heard.data() + 22, file.data() + 44, file.size() - 44));
}

} // namespace
} // namespace selvar
