#include "support/SerialQueue.h"

#include <future>

namespace selvar {

SerialQueue::SerialQueue() : worker_([this] { run(); }) {}

SerialQueue::~SerialQueue() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_one();
  worker_.join();
}

void SerialQueue::async(std::function<void()> work) {
  {
    std::lock_guard lock(mutex_);
    work_.push_back(std::move(work));
  }
  wake_.notify_one();
}

void SerialQueue::sync(const std::function<void()> &work) {
  std::promise<void> done;
  async([&] {
    work();
    done.set_value();
  });
  done.get_future().wait();
}

void SerialQueue::run() {
  for (;;) {
    std::function<void()> next;
    {
      std::unique_lock lock(mutex_);
      wake_.wait(lock, [this] { return stopping_ || !work_.empty(); });
      if (work_.empty()) return;
      next = std::move(work_.front());
      work_.pop_front();
    }
    next();
  }
}

} // namespace selvar
