#pragma once
// The main queue over Grand Central Dispatch's main queue, with one-shot timers on the main run
// loop in the common modes so they also fire while a menu is open.

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
