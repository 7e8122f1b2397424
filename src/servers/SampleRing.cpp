#include "servers/SampleRing.h"

#include <algorithm>

namespace selvar {

SampleRing::SampleRing(std::size_t capacity) : samples_(std::max<std::size_t>(capacity, 1)) {}

bool SampleRing::push(std::span<const std::int16_t> samples) {
  if (overflowed_.load(std::memory_order_relaxed)) return false;
  std::size_t written = written_.load(std::memory_order_relaxed);
  std::size_t free = samples_.size() - (written - read_.load(std::memory_order_acquire));
  if (samples.size() > free) {
    overflowed_.store(true, std::memory_order_release);
    return false;
  }
  std::size_t at = written % samples_.size();
  std::size_t first = std::min(samples.size(), samples_.size() - at);
  std::copy_n(samples.begin(), first, samples_.begin() + static_cast<std::ptrdiff_t>(at));
  std::copy(samples.begin() + static_cast<std::ptrdiff_t>(first), samples.end(), samples_.begin());
  written_.store(written + samples.size(), std::memory_order_release);
  return true;
}

std::size_t SampleRing::size() const {
  return written_.load(std::memory_order_acquire) - read_.load(std::memory_order_relaxed);
}

std::size_t SampleRing::pop(std::size_t count, std::vector<std::int16_t> &out) {
  std::size_t read = read_.load(std::memory_order_relaxed);
  count = std::min(count, written_.load(std::memory_order_acquire) - read);
  std::size_t at = read % samples_.size();
  std::size_t first = std::min(count, samples_.size() - at);
  auto begin = samples_.begin() + static_cast<std::ptrdiff_t>(at);
  out.insert(out.end(), begin, begin + static_cast<std::ptrdiff_t>(first));
  out.insert(out.end(), samples_.begin(),
             samples_.begin() + static_cast<std::ptrdiff_t>(count - first));
  read_.store(read + count, std::memory_order_release);
  return count;
}

} // namespace selvar
