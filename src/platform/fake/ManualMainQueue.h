#pragma once
// A main queue and clock for tests: time moves only when the test advances it, and due work
// runs in order of due time (then of scheduling) on the test's thread.

#include "platform/MainQueue.h"

#include <cstdint>
#include <mutex>
#include <vector>

namespace selvar {

class ManualMainQueue : public MainQueue, public Clock {
public:
  explicit ManualMainQueue(WallTime wallStart = defaultWallStart());

  void async(std::function<void()> work) override;
  void asyncAfter(double seconds, std::function<void()> work) override;
  TimerRef scheduleTimer(double seconds, std::function<void()> work) override;
  bool isMainThread() const override { return true; }

  double monotonicSeconds() const override;
  WallTime wallNow() const override;

  // Runs everything due now, including work that due work queues for now. Returns the count.
  std::size_t runUntilIdle();
  // Moves time forward by seconds, running due work at its due time along the way.
  void advance(double seconds);
  // Advances to the next pending item and runs it; false when nothing is pending.
  bool runNext();
  std::size_t pendingCount() const;
  // Sets the wall clock without moving the monotonic clock (to cross midnight and so on).
  void setWallNow(WallTime t);

  static WallTime defaultWallStart();

private:
  struct Item {
    double due;
    std::uint64_t seq;
    std::function<void()> work;
    TimerRef timer;
  };
  bool popDue(double limit, Item &out);

  mutable std::mutex mutex_;
  std::vector<Item> items_;
  double now_ = 1000.0;
  WallTime wallOrigin_;
  double wallOriginMono_ = 1000.0;
  std::uint64_t seq_ = 0;
};

} // namespace selvar
