#include "platform/linux/GLibMainQueue.h"

#include "records/Log.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <exception>
#include <glib.h>

namespace selvar {

namespace {

struct QueueSource {
  GSource base;
  GLibMainQueue *owner;
};

// Longer delays are clamped (about 31 years) so the microsecond arithmetic cannot overflow.
constexpr double kMaxDelaySeconds = 1e9;

std::int64_t delayMicros(double seconds) {
  if (!(seconds > 0)) return 0; // negative and NaN mean now
  return static_cast<std::int64_t>(std::llround(std::min(seconds, kMaxDelaySeconds) * 1e6));
}

void runGuarded(const std::function<void()> &work) {
  // An exception must not unwind through GLib's C frames.
  try {
    work();
  } catch (const std::exception &e) {
    Log::write(std::string("main queue: work failed: ") + e.what());
  } catch (...) {
    Log::write("main queue: work failed: unknown exception");
  }
}

} // namespace

GLibMainQueue::GLibMainQueue(GMainContext *context) : mainThread_(std::this_thread::get_id()) {
  static GSourceFuncs funcs = {nullptr, nullptr, &GLibMainQueue::dispatch,
                               nullptr, nullptr, nullptr};
  source_ = g_source_new(&funcs, sizeof(QueueSource));
  reinterpret_cast<QueueSource *>(source_)->owner = this;
  g_source_set_priority(source_, G_PRIORITY_DEFAULT);
  g_source_set_name(source_, "selvar main queue");
  g_source_set_ready_time(source_, -1);
  g_source_attach(source_, context);
}

GLibMainQueue::~GLibMainQueue() {
  g_source_destroy(source_);
  g_source_unref(source_);
}

void GLibMainQueue::async(std::function<void()> work) {
  enqueue(0, std::move(work), nullptr);
}

void GLibMainQueue::asyncAfter(double seconds, std::function<void()> work) {
  enqueue(seconds, std::move(work), nullptr);
}

TimerRef GLibMainQueue::scheduleTimer(double seconds, std::function<void()> work) {
  auto timer = std::make_shared<Timer>();
  enqueue(seconds, std::move(work), timer);
  return timer;
}

bool GLibMainQueue::isMainThread() const {
  return std::this_thread::get_id() == mainThread_;
}

double GLibMainQueue::monotonicSeconds() const {
  return static_cast<double>(g_get_monotonic_time()) / 1e6;
}

WallTime GLibMainQueue::wallNow() const {
  return std::chrono::system_clock::now();
}

void GLibMainQueue::enqueue(double seconds, std::function<void()> work, TimerRef timer) {
  std::int64_t due = g_get_monotonic_time() + delayMicros(seconds);
  std::lock_guard lock(mutex_);
  items_.emplace(Key{due, nextSeq_++}, Item{std::move(work), std::move(timer)});
  updateReadyTimeLocked();
}

void GLibMainQueue::updateReadyTimeLocked() {
  // Called under mutex_, so concurrent writers cannot leave a stale ready time behind.
  g_source_set_ready_time(source_, items_.empty() ? -1 : items_.begin()->first.first);
}

void GLibMainQueue::dispatchDue() {
  // Only what was due and queued when this dispatch began runs now; work queued by that work
  // waits for the next iteration so input and redraws are not starved.
  std::int64_t now = g_get_monotonic_time();
  std::uint64_t seqLimit;
  {
    std::lock_guard lock(mutex_);
    seqLimit = nextSeq_;
  }
  for (;;) {
    Item item;
    {
      std::lock_guard lock(mutex_);
      // Later work is always due at or after `now`, so it sorts behind everything older.
      auto it = items_.begin();
      if (it == items_.end() || it->first.first > now || it->first.second >= seqLimit) break;
      item = std::move(it->second);
      items_.erase(it);
    }
    if (item.timer) {
      if (!item.timer->isValid()) continue;
      item.timer->invalidate();
    }
    runGuarded(item.work);
  }
  std::lock_guard lock(mutex_);
  updateReadyTimeLocked();
}

int GLibMainQueue::dispatch(GSource *source, int (*)(void *), void *) {
  reinterpret_cast<QueueSource *>(source)->owner->dispatchDue();
  return G_SOURCE_CONTINUE;
}

} // namespace selvar
