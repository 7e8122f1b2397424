#pragma once
// A fixed-size queue of 16-bit samples from one writer to one reader on another thread. The
// writer never waits and never allocates, so the audio thread can feed it: samples that do not
// fit are refused and the ring stays marked as overflowed, since the stream now has a gap.
// Writers that take turns must be serialised by a lock of their own, and so must readers.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace selvar {

class SampleRing {
public:
  explicit SampleRing(std::size_t capacity);
  SampleRing(const SampleRing &) = delete;
  SampleRing &operator=(const SampleRing &) = delete;

  // Writer. False when the samples did not fit, now or at an earlier push.
  bool push(std::span<const std::int16_t> samples);

  // Reader.
  std::size_t size() const;
  bool overflowed() const { return overflowed_.load(std::memory_order_acquire); }
  // Moves up to count of the oldest samples to the end of out; returns how many.
  std::size_t pop(std::size_t count, std::vector<std::int16_t> &out);

private:
  std::vector<std::int16_t> samples_;
  // Running totals; a slot is free again once the reader's total has passed it.
  std::atomic<std::size_t> written_{0};
  std::atomic<std::size_t> read_{0};
  std::atomic<bool> overflowed_{false};
};

} // namespace selvar
