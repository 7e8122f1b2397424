#include "dictation/RequestBox.h"

namespace selvar {

void RequestBox::append(const AudioBuffer &buffer) {
  std::unique_lock lock(lock_);
  if (!request_ || flushing_) {
    // While a hand-over runs the buffer must wait its turn; it is drained before the
    // hand-over ends, so the cap only bounds the wait for a first request.
    if (flushing_ || pending_.size() < kPendingCap) pending_.push_back(buffer);
    return;
  }
  auto request = request_;
  std::vector<AudioBuffer> moved;
  moved.swap(pending_);
  lock.unlock();
  for (const auto &held : moved)
    request->append(held);
  request->append(buffer);
}

void RequestBox::set(std::shared_ptr<RecognitionRequest> request) {
  std::unique_lock lock(lock_);
  request_ = std::move(request);
  if (!request_ || flushing_) return;
  flushing_ = true;
  for (;;) {
    std::vector<AudioBuffer> moved;
    moved.swap(pending_);
    if (moved.empty()) break;
    auto target = request_;
    lock.unlock();
    for (const auto &held : moved)
      target->append(held);
    lock.lock();
  }
  flushing_ = false;
}

std::shared_ptr<RecognitionRequest> RequestBox::current() const {
  std::lock_guard lock(lock_);
  return request_;
}

void RequestBox::reset() {
  std::lock_guard lock(lock_);
  request_.reset();
  pending_.clear();
}

std::size_t RequestBox::pendingCount() const {
  std::lock_guard lock(lock_);
  return pending_.size();
}

} // namespace selvar
