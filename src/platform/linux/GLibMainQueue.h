#pragma once
// The main queue and clocks over a GLib main context (the default one unless told). All pending
// work sits in one ordered list drained by a single source whose ready time is the earliest due
// item, so work runs by due time and then by scheduling order, as on the manual test queue,
// even when the loop was busy past several due times.

#include "platform/MainQueue.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

typedef struct _GMainContext GMainContext;
typedef struct _GSource GSource;

namespace selvar {

class GLibMainQueue : public MainQueue, public Clock {
public:
  // Construct on the main thread: that thread is the one isMainThread() answers true for.
  explicit GLibMainQueue(GMainContext *context = nullptr);
  ~GLibMainQueue() override;
  GLibMainQueue(const GLibMainQueue &) = delete;
  GLibMainQueue &operator=(const GLibMainQueue &) = delete;

  void async(std::function<void()> work) override;
  void asyncAfter(double seconds, std::function<void()> work) override;
  TimerRef scheduleTimer(double seconds, std::function<void()> work) override;
  bool isMainThread() const override;

  double monotonicSeconds() const override;
  WallTime wallNow() const override;

private:
  struct Item {
    std::function<void()> work;
    TimerRef timer;
  };
  using Key = std::pair<std::int64_t, std::uint64_t>; // due (µs, monotonic), sequence

  void enqueue(double seconds, std::function<void()> work, TimerRef timer);
  void updateReadyTimeLocked();
  void dispatchDue();
  static int dispatch(GSource *source, int (*)(void *), void *);

  GSource *source_ = nullptr;
  std::thread::id mainThread_;
  std::mutex mutex_;
  std::map<Key, Item> items_;
  std::uint64_t nextSeq_ = 0;
};

} // namespace selvar
