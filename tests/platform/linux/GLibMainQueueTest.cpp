#include "platform/linux/GLibMainQueue.h"

#include "platform/fake/FakeEnvironment.h"

#include <glib.h>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

namespace selvar {
namespace {

// Runs a private GLib context; the loop stops when the test's work says so, or after a
// generous guard so that a fault fails the test instead of hanging it.
class GLibMainQueueTest : public ::testing::Test {
protected:
  GLibMainQueueTest()
      : context(g_main_context_new()), loop(g_main_loop_new(context, FALSE)), queue(context) {}
  ~GLibMainQueueTest() override {
    g_main_loop_unref(loop);
    g_main_context_unref(context);
  }

  void runLoop() {
    GSource *guard = g_timeout_source_new_seconds(5);
    g_source_set_callback(
        guard,
        [](gpointer data) -> gboolean {
          auto *self = static_cast<GLibMainQueueTest *>(data);
          self->timedOut = true;
          g_main_loop_quit(self->loop);
          return G_SOURCE_REMOVE;
        },
        this, nullptr);
    g_source_attach(guard, context);
    g_main_loop_run(loop);
    g_source_destroy(guard);
    g_source_unref(guard);
    ASSERT_FALSE(timedOut);
  }
  std::function<void()> record(std::string name) {
    return [this, name] { ran.push_back(name); };
  }
  void quit() { g_main_loop_quit(loop); }

  FakeEnvironment env; // for the log line of throwing work
  GMainContext *context;
  GMainLoop *loop;
  GLibMainQueue queue;
  std::vector<std::string> ran;
  bool timedOut = false;
};

TEST_F(GLibMainQueueTest, ImmediateWorkRunsInOrderAndWorkItQueuesComesAfter) {
  queue.async([this] {
    ran.push_back("a");
    queue.async([this] {
      ran.push_back("queued by a");
      quit();
    });
  });
  queue.async(record("b"));
  queue.asyncAfter(-1, record("negative delay"));
  runLoop();
  EXPECT_EQ(ran, (std::vector<std::string>{"a", "b", "negative delay", "queued by a"}));
}

TEST_F(GLibMainQueueTest, OverdueWorkRunsByDueTimeNotBySchedulingOrder) {
  // The first work keeps the loop busy until both delays have passed, so they are overdue
  // together; the shorter delay, scheduled second, must still run first.
  const double start = queue.monotonicSeconds();
  queue.async([&] {
    while (queue.monotonicSeconds() < start + 0.003) {
    }
    ran.push_back("busy");
  });
  queue.asyncAfter(0.002, [this] {
    ran.push_back("2ms");
    quit();
  });
  queue.asyncAfter(0.001, record("1ms"));
  runLoop();
  EXPECT_EQ(ran, (std::vector<std::string>{"busy", "1ms", "2ms"}));
}

TEST_F(GLibMainQueueTest, InvalidatedTimersNeverFire) {
  auto dead = queue.scheduleTimer(0, record("dead"));
  auto live = queue.scheduleTimer(0, record("live"));
  TimerRef field = queue.scheduleTimer(0, record("cancelled"));
  dead->invalidate();
  cancelTimer(field);
  queue.scheduleTimer(0, [this] { quit(); });
  runLoop();
  EXPECT_EQ(ran, std::vector<std::string>{"live"});
  EXPECT_FALSE(live->isValid());
}

TEST_F(GLibMainQueueTest, WorkFromOtherThreadsRunsOnTheMainThread) {
  bool otherSawMain = true, workSawMain = false;
  std::thread other([&] {
    otherSawMain = queue.isMainThread();
    queue.async([&] {
      workSawMain = queue.isMainThread();
      quit();
    });
  });
  runLoop();
  other.join();
  EXPECT_FALSE(otherSawMain);
  EXPECT_TRUE(workSawMain);
}

TEST_F(GLibMainQueueTest, ThrowingWorkIsContainedAndTheQueueGoesOn) {
  queue.async([] { throw std::runtime_error("boom"); });
  queue.async([this] {
    ran.push_back("after");
    quit();
  });
  runLoop();
  EXPECT_EQ(ran, std::vector<std::string>{"after"});
}

} // namespace
} // namespace selvar
