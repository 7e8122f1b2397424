// The records on the hot paths: a log line from any thread, and the per-buffer diagnostics
// counter update on the audio capture thread.

#include "platform/fake/FakeEnvironment.h"
#include "records/Diagnostics.h"
#include "records/Log.h"

#include <benchmark/benchmark.h>
#include <filesystem>

namespace selvar {
namespace {

// The caller's share of a log line: timestamp, line building and the hand-off to the queue.
// The queue is drained (untimed) every few hundred lines so the backlog stays realistic.
void BM_LogWrite(benchmark::State &state) {
  FakeEnvironment env;
  auto file = Log::directory() / "selvar.log";
  std::size_t n = 0;
  for (auto _ : state) {
    Log::write("hotkey: trigger down mode=toggle key=rightOption");
    if (++n % 256 == 0) {
      state.PauseTiming();
      Log::flush();
      std::error_code ec;
      if (std::filesystem::file_size(file, ec) > 8'000'000) std::filesystem::remove(file, ec);
      state.ResumeTiming();
    }
  }
  Log::flush();
}
BENCHMARK(BM_LogWrite);

void BM_UtteranceAudio(benchmark::State &state) {
  FakeEnvironment env;
  Diagnostics::Utterance u;
  float rms = 0.01f;
  for (auto _ : state) {
    u.audio(rms, 2048);
    rms = rms > 0.5f ? 0.001f : rms * 1.01f;
    benchmark::DoNotOptimize(u);
  }
}
BENCHMARK(BM_UtteranceAudio);

} // namespace
} // namespace selvar
