#include "platform/linux/FrameChunker.h"

#include <gtest/gtest.h>
#include <numeric>

namespace selvar {
namespace {

// Pieces of odd sizes must come out as whole buffers, in order, with no sample lost or doubled.
TEST(FrameChunkerTest, CutsAnyPiecesIntoWholeBuffersInOrder) {
  struct Case {
    std::vector<std::size_t> pieces; // frames per piece
    std::size_t buffers;
  } cases[] = {{{2048}, 1}, {{1000, 1000, 48}, 1}, {{5000}, 2}, {{1, 2047, 2047}, 1}, {{7}, 0}};
  for (const Case &c : cases) {
    FrameChunker chunker(2048, 1, 48000);
    std::vector<AudioBuffer> out;
    float next = 0;
    for (std::size_t frames : c.pieces) {
      std::vector<float> piece(frames);
      std::iota(piece.begin(), piece.end(), next);
      next += float(frames);
      chunker.push(piece, [&](AudioBuffer b) { out.push_back(std::move(b)); });
    }
    ASSERT_EQ(out.size(), c.buffers);
    for (std::size_t i = 0; i < out.size(); ++i) {
      ASSERT_EQ(out[i].frameCount, 2048u);
      EXPECT_EQ(out[i].sampleRate, 48000);
      EXPECT_EQ(out[i].channel(0).front(), float(i * 2048));
      EXPECT_EQ(out[i].channel(0).back(), float(i * 2048 + 2047));
    }
  }
}

TEST(FrameChunkerTest, DeinterleavesAndFillsHolesWithSilence) {
  FrameChunker chunker(4, 2, 16000);
  std::vector<AudioBuffer> out;
  auto emit = [&](AudioBuffer b) { out.push_back(std::move(b)); };
  const std::vector<float> stereo{1, -1, 2, -2, 3}; // a trailing half frame is dropped
  chunker.push(stereo, emit);
  chunker.pushSilence(3, emit);
  ASSERT_EQ(out.size(), 1u);
  const std::vector<float> left(out[0].channel(0).begin(), out[0].channel(0).end());
  const std::vector<float> right(out[0].channel(1).begin(), out[0].channel(1).end());
  EXPECT_EQ(left, (std::vector<float>{1, 2, 0, 0}));
  EXPECT_EQ(right, (std::vector<float>{-1, -2, 0, 0}));
  chunker.push(std::vector<float>{5, 5}, emit);
  chunker.reset();
  chunker.pushSilence(4, emit);
  ASSERT_EQ(out.size(), 2u);
  EXPECT_EQ(out[1].channel(0)[0], 0) << "reset drops the partly filled buffer";
}

} // namespace
} // namespace selvar
