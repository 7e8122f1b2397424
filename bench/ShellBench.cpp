// The status menu as the tray rebuilds it: on every opening and after every dictation. The
// rebuild reads the six newest history records from disk, so it is measured with a history of
// a month (31 day files of 40 records); a rebuild should stay far below a frame (16 ms).

#include "app/LiveSubsystems.h"
#include "app/StatusMenu.h"
#include "platform/fake/FakeEnvironment.h"
#include "records/History.h"

#include <benchmark/benchmark.h>
#include <string>

namespace selvar {
namespace {

void BM_StatusMenuRebuild(benchmark::State &state) {
  FakeEnvironment env;
  for (int day = 0; day < 31; ++day) {
    env.queue.setWallNow(ManualMainQueue::defaultWallStart() + std::chrono::hours(24 * day));
    for (int i = 0; i < 40; ++i)
      History::append("a dictated sentence of ordinary length, number " + std::to_string(i) +
                          ", with\nline breaks and    runs of spaces",
                      4.2, 0.8);
  }
  LiveSubsystems subsystems({});
  for (auto _ : state) {
    auto items = StatusMenu::build(subsystems.statusMenuState());
    benchmark::DoNotOptimize(items);
  }
}
BENCHMARK(BM_StatusMenuRebuild)->Unit(benchmark::kMicrosecond);

void BM_MenuTitle(benchmark::State &state) {
  std::string text;
  for (int i = 0; i < 20; ++i)
    text += "word\u00a0and  another\n";
  for (auto _ : state)
    benchmark::DoNotOptimize(StatusMenu::menuTitle(text));
}
BENCHMARK(BM_MenuTitle)->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace selvar
