#include "servers/SampleRing.h"

#include <gtest/gtest.h>
#include <numeric>

namespace selvar {
namespace {

std::vector<std::int16_t> run(std::int16_t first, std::size_t count) {
  std::vector<std::int16_t> samples(count);
  std::iota(samples.begin(), samples.end(), first);
  return samples;
}

// Pushes and pops of uneven sizes carry the stream across the end of the storage many times
// over, in order and without loss.
TEST(SampleRingTest, KeepsOrderAcrossTheWrap) {
  SampleRing ring(10);
  std::vector<std::int16_t> out;
  std::int16_t next = 0;
  for (std::size_t size : {7u, 3u, 9u, 1u, 10u, 4u, 6u, 5u}) {
    ASSERT_TRUE(ring.push(run(next, size)));
    next = static_cast<std::int16_t>(next + size);
    EXPECT_EQ(ring.size(), size);
    EXPECT_EQ(ring.pop(size / 2, out), size / 2);
    EXPECT_EQ(ring.pop(100, out), size - size / 2);
  }
  EXPECT_EQ(out, run(0, static_cast<std::size_t>(next)));
}

// What does not fit is refused whole, and so is everything after it: the stream has a gap.
TEST(SampleRingTest, AnOverflowIsRefusedAndRemembered) {
  SampleRing ring(8);
  ASSERT_TRUE(ring.push(run(0, 6)));
  EXPECT_FALSE(ring.push(run(6, 3)));
  EXPECT_TRUE(ring.overflowed());
  std::vector<std::int16_t> out;
  ring.pop(8, out);
  EXPECT_EQ(out, run(0, 6));
  EXPECT_FALSE(ring.push(run(6, 1)));
}

} // namespace
} // namespace selvar
