#pragma once
// The main queue and the clocks. Every delay, timer and hop to the main thread in Selvar goes
// through these interfaces, so tests can drive time by hand and never sleep.

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>

namespace selvar {

using WallTime = std::chrono::system_clock::time_point;

// A one-shot timer. The queue holds the work; invalidating stops it from running.
class Timer {
public:
  void invalidate() { valid_.store(false, std::memory_order_release); }
  bool isValid() const { return valid_.load(std::memory_order_acquire); }

private:
  std::atomic<bool> valid_{true};
};
using TimerRef = std::shared_ptr<Timer>;

// Invalidates a timer held in a field and clears the field.
inline void cancelTimer(TimerRef &timer) {
  if (timer) timer->invalidate();
  timer.reset();
}

class Clock {
public:
  virtual ~Clock() = default;
  // Seconds on a monotonic clock with an arbitrary origin (uptime, media time).
  virtual double monotonicSeconds() const = 0;
  // The calendar time, for timestamps and day files.
  virtual WallTime wallNow() const = 0;
};

class MainQueue {
public:
  virtual ~MainQueue() = default;
  // Runs work on the main thread soon, after work already queued. Callable from any thread.
  virtual void async(std::function<void()> work) = 0;
  // Runs work on the main thread after the delay. Callable from any thread.
  virtual void asyncAfter(double seconds, std::function<void()> work) = 0;
  // A one-shot timer on the main thread; the work runs only while the timer is still valid,
  // and the timer is invalid after it fired.
  virtual TimerRef scheduleTimer(double seconds, std::function<void()> work) = 0;
  virtual bool isMainThread() const = 0;
};

} // namespace selvar
