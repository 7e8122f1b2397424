#pragma once
// A private serial queue: one worker thread running submitted work in submission order.
// The records (log, diagnostics) keep their disk work on one of these.

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace selvar {

class SerialQueue {
public:
  SerialQueue();
  // Runs the work still queued, then stops the worker.
  ~SerialQueue();
  SerialQueue(const SerialQueue &) = delete;
  SerialQueue &operator=(const SerialQueue &) = delete;

  void async(std::function<void()> work);
  // Runs work on the queue after everything queued before it, and waits for it.
  // Must not be called from the queue itself.
  void sync(const std::function<void()> &work);
  bool isCurrent() const { return std::this_thread::get_id() == worker_.get_id(); }

private:
  void run();
  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<std::function<void()>> work_;
  bool stopping_ = false;
  std::thread worker_;
};

} // namespace selvar
