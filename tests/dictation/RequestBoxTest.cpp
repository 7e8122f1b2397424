#include "dictation/RequestBox.h"

#include "platform/fake/FakeSpeechRecognition.h"

#include <gtest/gtest.h>

namespace selvar {
namespace {

// A buffer whose single sample is its capture number.
AudioBuffer numbered(int n) {
  return AudioBuffer::planar({static_cast<float>(n)}, 1, 48000);
}

std::vector<int> numbersIn(const FakeRecognitionRequest &request) {
  std::vector<int> out;
  for (const auto &b : request.buffers())
    out.push_back(static_cast<int>(b.channel(0)[0]));
  return out;
}

std::vector<int> range(int from, int to) {
  std::vector<int> out;
  for (int i = from; i < to; ++i)
    out.push_back(i);
  return out;
}

TEST(RequestBoxTest, HeldBuffersReachTheFirstRequestInOrderAndTheCapDropsNewest) {
  RequestBox box;
  for (int i = 0; i < 401; ++i)
    box.append(numbered(i));
  EXPECT_EQ(box.pendingCount(), 400u);
  auto request = std::make_shared<FakeRecognitionRequest>();
  box.set(request);
  box.append(numbered(1000));
  auto expected = range(0, 400);
  expected.push_back(1000);
  EXPECT_EQ(numbersIn(*request), expected);
  EXPECT_EQ(box.pendingCount(), 0u);
}

TEST(RequestBoxTest, ClearingTheRequestHoldsBuffersForTheNextOne) {
  RequestBox box;
  auto first = std::make_shared<FakeRecognitionRequest>();
  box.set(first);
  box.append(numbered(1));
  box.set(nullptr);
  box.append(numbered(2));
  box.append(numbered(3));
  auto second = std::make_shared<FakeRecognitionRequest>();
  box.set(second);
  EXPECT_EQ(numbersIn(*first), std::vector<int>{1});
  EXPECT_EQ(numbersIn(*second), (std::vector<int>{2, 3}));
  EXPECT_EQ(box.current(), second);
}

TEST(RequestBoxTest, ResetForgetsHeldAudioOfAnEarlierSession) {
  RequestBox box;
  box.append(numbered(1));
  box.reset();
  auto request = std::make_shared<FakeRecognitionRequest>();
  box.set(request);
  box.append(numbered(2));
  EXPECT_EQ(numbersIn(*request), std::vector<int>{2});
}

} // namespace
} // namespace selvar
