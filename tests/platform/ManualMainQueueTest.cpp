#include "platform/fake/ManualMainQueue.h"

#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

namespace selvar {
namespace {

using namespace std::chrono_literals;

class ManualMainQueueTest : public ::testing::Test {
protected:
  std::function<void()> record(std::string name) {
    return [this, name] { ran.push_back(name); };
  }
  ManualMainQueue queue;
  std::vector<std::string> ran;
};

TEST_F(ManualMainQueueTest, RunsByDueTimeThenBySchedulingOrder) {
  queue.asyncAfter(2, record("at 2"));
  queue.async(record("now 1"));
  queue.asyncAfter(1, record("at 1 first"));
  auto timer = queue.scheduleTimer(1, record("at 1 timer"));
  queue.asyncAfter(1, record("at 1 last"));
  queue.asyncAfter(-5, record("now 2")); // a negative delay means now
  queue.asyncAfter(2.5, record("at 2.5"));

  queue.advance(2);
  EXPECT_EQ(ran, (std::vector<std::string>{"now 1", "now 2", "at 1 first", "at 1 timer",
                                           "at 1 last", "at 2"}));
  EXPECT_FALSE(timer->isValid()); // a fired timer is spent
  EXPECT_EQ(queue.pendingCount(), 1u);
}

TEST_F(ManualMainQueueTest, AdvanceRunsEachItemAtItsOwnDueTime) {
  const double start = queue.monotonicSeconds();
  const WallTime wallStart = queue.wallNow();
  std::vector<double> at;
  queue.asyncAfter(1, [&] {
    at.push_back(queue.monotonicSeconds() - start);
    queue.asyncAfter(0.5, [&] { at.push_back(queue.monotonicSeconds() - start); });
    queue.asyncAfter(1.5, [&] { at.push_back(queue.monotonicSeconds() - start); });
    queue.async([&] { at.push_back(queue.monotonicSeconds() - start); });
  });

  queue.advance(2);
  EXPECT_EQ(at, (std::vector<double>{1, 1, 1.5}));
  EXPECT_DOUBLE_EQ(queue.monotonicSeconds() - start, 2);
  EXPECT_EQ(queue.wallNow() - wallStart, 2s);

  queue.advance(0.5);
  EXPECT_EQ(at.back(), 2.5);
  queue.advance(-3); // time never runs backwards
  EXPECT_DOUBLE_EQ(queue.monotonicSeconds() - start, 2.5);
}

TEST_F(ManualMainQueueTest, RunUntilIdleRunsChainsQueuedForNowWithoutMovingTime) {
  const double start = queue.monotonicSeconds();
  queue.async([&] {
    ran.push_back("outer");
    queue.async([&] {
      ran.push_back("inner");
      queue.async(record("innermost"));
    });
    queue.asyncAfter(0.001, record("later"));
  });
  queue.async(record("second"));

  EXPECT_EQ(queue.runUntilIdle(), 4u);
  EXPECT_EQ(ran, (std::vector<std::string>{"outer", "second", "inner", "innermost"}));
  EXPECT_EQ(queue.monotonicSeconds(), start);
  EXPECT_EQ(queue.runUntilIdle(), 0u);
  EXPECT_EQ(queue.pendingCount(), 1u);
}

TEST_F(ManualMainQueueTest, InvalidatedTimersNeverRunAndAreNotPending) {
  const double start = queue.monotonicSeconds();
  auto dead = queue.scheduleTimer(1, record("dead"));
  TimerRef field = queue.scheduleTimer(0, record("cancelled via field"));
  queue.scheduleTimer(3, record("live"));
  dead->invalidate();
  cancelTimer(field);
  EXPECT_FALSE(field);
  EXPECT_EQ(queue.pendingCount(), 1u);

  // runNext goes straight to the live timer rather than stopping at the dead one's time.
  EXPECT_TRUE(queue.runNext());
  EXPECT_EQ(ran, std::vector<std::string>{"live"});
  EXPECT_DOUBLE_EQ(queue.monotonicSeconds() - start, 3);
  EXPECT_FALSE(queue.runNext());

  // A timer invalidated by the work that runs just before it, at the same instant.
  TimerRef later;
  queue.asyncAfter(1, [&] { later->invalidate(); });
  later = queue.scheduleTimer(1, record("invalidated at its own time"));
  queue.advance(1);
  EXPECT_EQ(ran, std::vector<std::string>{"live"});
}

TEST_F(ManualMainQueueTest, SetWallNowMovesOnlyTheWallClock) {
  const double mono = queue.monotonicSeconds();
  const WallTime beforeMidnight = WallTime{std::chrono::seconds{1740873599}}; // 23:59:59Z
  queue.setWallNow(beforeMidnight);
  EXPECT_EQ(queue.monotonicSeconds(), mono);
  EXPECT_EQ(queue.wallNow(), beforeMidnight);
  queue.advance(1.5);
  EXPECT_EQ(queue.wallNow(), beforeMidnight + 1500ms);
}

TEST_F(ManualMainQueueTest, WorkQueuedFromAnotherThreadRunsOnTheTestThread) {
  std::thread::id ranOn;
  std::thread other([&] { queue.async([&] { ranOn = std::this_thread::get_id(); }); });
  other.join();
  EXPECT_EQ(queue.runUntilIdle(), 1u);
  EXPECT_EQ(ranOn, std::this_thread::get_id());
}

} // namespace
} // namespace selvar
