#pragma once
// The main queue over the main dispatch queue, with every delay on a main run-loop timer in the
// common modes: those fire in order of due time (then of scheduling), also while a menu is
// open, and without the leeway dispatch timers may take.

#include "platform/MainQueue.h"

namespace selvar {

class DispatchMainQueue : public MainQueue {
public:
  void async(std::function<void()> work) override;
  void asyncAfter(double seconds, std::function<void()> work) override;
  TimerRef scheduleTimer(double seconds, std::function<void()> work) override;
  bool isMainThread() const override;
};

} // namespace selvar
