// The dictation controller's two hot spots. On the audio thread, everything the capture tap does
// for one 2048-frame buffer: meter bands, the request box, the WAV recorder (server path), the
// counters and the hop to the main queue (target: median under 50 µs). On the main queue, the
// commit of a finished 300-character utterance: resolve, clean up, history, delivery.

#include "dictation/DictationController.h"
#include "dictation/LocalServerBridge.h"
#include "platform/fake/FakeEnvironment.h"
#include "platform/fake/FakeHudPanel.h"
#include "platform/linux/SoxrAudioConverter.h"
#include "records/Diagnostics.h"

#include <benchmark/benchmark.h>
#include <chrono>
#include <cmath>
#include <numbers>

namespace selvar {
namespace {

// The transcription server is "up" and never answers: the bench only records.
class SilentServers : public LocalServerAccess {
public:
  std::optional<ServerEndpoint> endpoint(const std::string &id) override {
    if (id != "server-transcription") return std::nullopt;
    return ServerEndpoint{id, 8020, "model"};
  }
  bool isRunning(const std::string &, double) override { return true; }
  void checkRunning(const std::string &, double, std::function<void(bool)> done) override {
    done(true);
  }
  bool isServerInstalled() override { return true; }
  void start(double, const std::string &, std::function<void(bool)>) override {}
  void transcribe(const ServerEndpoint &, std::string, const std::string &, const std::string &,
                  double, std::function<void(ServerReply)>) override {}
  void rewrite(const std::string &, const ServerEndpoint &, double,
               std::function<void(ServerReply)>) override {}
};

class NoFeedback : public FeedbackWindow {
public:
  void show(const std::optional<std::string> &) override {}
};

AudioBuffer voiceBuffer() {
  std::vector<float> samples(2048);
  for (std::size_t n = 0; n < samples.size(); ++n) {
    double t = static_cast<double>(n) / 48000;
    double v = 0;
    for (int h = 1; h <= 6; ++h)
      v += 0.08 / h * std::sin(2 * std::numbers::pi * 180 * h * t);
    samples[n] = static_cast<float>(v);
  }
  return AudioBuffer::planar(std::move(samples), 1, 48000);
}

struct Bench {
  explicit Bench(bool serverPath) {
    services().dsp = &platformDsp();
    services().audioConverters = &soxr;
    screens.main = Rect{{0, 0}, {1440, 900}};
    screens.frames = {*screens.main};
    if (serverPath)
      env.settings.setValue(PrefKey::dictationEngine, std::string("server-transcription"));
    DictationNeighbours n{&servers, &feedback, &panel, &screens, makeWavRecording};
    controller = std::make_unique<DictationController>(std::move(n));
  }
  ~Bench() {
    controller.reset();
    Diagnostics::flush();
  }
  FakeEnvironment env;
  SoxrAudioConverterFactory soxr;
  FakeHudPanel panel;
  FakeScreens screens;
  SilentServers servers;
  NoFeedback feedback;
  std::unique_ptr<DictationController> controller;
};

void audioThreadPerBuffer(benchmark::State &state, bool serverPath) {
  Bench bench(serverPath);
  bench.controller->beginRecording();
  auto *engine = bench.env.audio.runningEngine();
  const AudioBuffer buffer = voiceBuffer();
  std::size_t fed = 0;
  for (auto _ : state) {
    engine->feed(buffer);
    if (++fed % 256 == 0) {
      state.PauseTiming();
      bench.env.queue.runUntilIdle(); // the main thread's share is not the audio thread's work
      state.ResumeTiming();
    }
  }
  bench.controller->endRecording();
}

void BM_AudioThreadPerBuffer_OnDevice(benchmark::State &state) {
  audioThreadPerBuffer(state, false);
}
void BM_AudioThreadPerBuffer_ServerPath(benchmark::State &state) {
  audioThreadPerBuffer(state, true);
}
BENCHMARK(BM_AudioThreadPerBuffer_OnDevice)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_AudioThreadPerBuffer_ServerPath)->Repetitions(5)->ReportAggregatesOnly(true);

std::string threeHundredCharacters() {
  std::string text;
  while (text.size() < 290)
    text += "um so the meeting moved to thursday at ten and ";
  text.resize(300);
  return text;
}

void BM_CommitThreeHundredCharacters(benchmark::State &state) {
  Bench bench(false);
  bench.env.settings.setValue(PrefKey::insertMode, std::string("copyOnly"));
  const std::string text = threeHundredCharacters();
  const AudioBuffer buffer = voiceBuffer();
  for (auto _ : state) {
    bench.controller->beginRecording();
    auto *engine = bench.env.audio.runningEngine();
    for (int i = 0; i < 5; ++i)
      engine->feed(buffer);
    bench.env.queue.runUntilIdle();
    bench.controller->endRecording();
    int generation = bench.controller->generation();
    auto start = std::chrono::steady_clock::now();
    bench.controller->commit(text, generation, "final", std::nullopt);
    auto elapsed = std::chrono::steady_clock::now() - start;
    state.SetIterationTime(std::chrono::duration<double>(elapsed).count());
    bench.env.queue.advance(3);
  }
}
BENCHMARK(BM_CommitThreeHundredCharacters)->UseManualTime()->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace selvar
