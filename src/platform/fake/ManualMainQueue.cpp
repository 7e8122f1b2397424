#include "platform/fake/ManualMainQueue.h"

#include <algorithm>

namespace selvar {

ManualMainQueue::ManualMainQueue(WallTime wallStart) : wallOrigin_(wallStart) {}

WallTime ManualMainQueue::defaultWallStart() {
  // 2025-03-01T14:07:09Z: a fixed, ordinary afternoon.
  return WallTime{std::chrono::seconds{1740838029}};
}

void ManualMainQueue::async(std::function<void()> work) {
  asyncAfter(0, std::move(work));
}

void ManualMainQueue::asyncAfter(double seconds, std::function<void()> work) {
  std::lock_guard lock(mutex_);
  items_.push_back({now_ + std::max(0.0, seconds), seq_++, std::move(work), nullptr});
}

TimerRef ManualMainQueue::scheduleTimer(double seconds, std::function<void()> work) {
  auto timer = std::make_shared<Timer>();
  std::lock_guard lock(mutex_);
  items_.push_back({now_ + std::max(0.0, seconds), seq_++, std::move(work), timer});
  return timer;
}

double ManualMainQueue::monotonicSeconds() const {
  std::lock_guard lock(mutex_);
  return now_;
}

WallTime ManualMainQueue::wallNow() const {
  std::lock_guard lock(mutex_);
  auto offset = std::chrono::duration<double>(now_ - wallOriginMono_);
  return wallOrigin_ + std::chrono::duration_cast<std::chrono::system_clock::duration>(offset);
}

void ManualMainQueue::setWallNow(WallTime t) {
  std::lock_guard lock(mutex_);
  wallOrigin_ = t;
  wallOriginMono_ = now_;
}

bool ManualMainQueue::popDue(double limit, Item &out) {
  std::lock_guard lock(mutex_);
  // Dead timers go first so that runNext never moves time to work that will not run.
  std::erase_if(items_, [](const Item &i) { return i.timer && !i.timer->isValid(); });
  auto it = std::min_element(items_.begin(), items_.end(), [](const Item &a, const Item &b) {
    return a.due != b.due ? a.due < b.due : a.seq < b.seq;
  });
  if (it == items_.end() || it->due > limit) return false;
  out = std::move(*it);
  items_.erase(it);
  now_ = std::max(now_, out.due);
  return true;
}

static void runItem(std::function<void()> &work, const TimerRef &timer) {
  if (timer) {
    if (!timer->isValid()) return;
    timer->invalidate();
  }
  work();
}

std::size_t ManualMainQueue::runUntilIdle() {
  std::size_t ran = 0;
  Item item;
  while (popDue(monotonicSeconds(), item)) {
    runItem(item.work, item.timer);
    ++ran;
  }
  return ran;
}

void ManualMainQueue::advance(double seconds) {
  double target = monotonicSeconds() + std::max(0.0, seconds);
  Item item;
  while (popDue(target, item))
    runItem(item.work, item.timer);
  std::lock_guard lock(mutex_);
  now_ = std::max(now_, target);
}

bool ManualMainQueue::runNext() {
  Item item;
  if (!popDue(1e300, item)) return false;
  runItem(item.work, item.timer);
  return true;
}

std::size_t ManualMainQueue::pendingCount() const {
  std::lock_guard lock(mutex_);
  return static_cast<std::size_t>(std::count_if(
      items_.begin(), items_.end(), [](const Item &i) { return !i.timer || i.timer->isValid(); }));
}

} // namespace selvar
