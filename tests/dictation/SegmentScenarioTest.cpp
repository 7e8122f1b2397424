// Long dictations in recognition segments: rollovers, a recognizer that ignores one, segments
// the recognizer closes on its own, and stale results.

#include "dictation/DictationRig.h"

#include <gtest/gtest.h>

namespace selvar::testing {
namespace {

class SegmentScenarioTest : public ::testing::Test {
protected:
  DictationRig rig;
};

TEST_F(SegmentScenarioTest, FiftySecondsRollOverTwiceAndDeliverEverySegmentJoined) {
  rig.startSpeaking();
  const char *said[] = {"first part", "second part", "third part"};
  for (int segment = 0; segment < 2; ++segment) {
    rig.task().partial(said[segment]);
    rig.env.queue.advance(20);
    EXPECT_TRUE(rig.env.speech.lastRequest()->audioEnded()) << segment;
    rig.task().final(said[segment]);
    rig.env.queue.runUntilIdle();
  }
  EXPECT_EQ(rig.env.speech.taskCount(), 3u);
  EXPECT_EQ(logCount("segment rollover after 20s"), 2u);
  EXPECT_TRUE(logHas("segment rollover after 20s chars=22"));
  rig.env.queue.advance(10);
  rig.task().partial(said[2]);
  rig.speak(3);
  rig.press();
  rig.task().final(said[2]);
  rig.settle();
  EXPECT_EQ(rig.pasted(), "First part second part third part");
  EXPECT_TRUE(rig.diagnosticsHave("\"name\":\"segment.rollover\""));
}

TEST_F(SegmentScenarioTest, IgnoredRolloverRestartsTheRequestOnceKeepingWhatWasHeard) {
  rig.startSpeaking();
  rig.task().partial("words before the stall");
  rig.env.queue.advance(20);
  auto *stalled = &rig.task();
  rig.env.queue.advance(1.9);
  EXPECT_EQ(rig.env.speech.taskCount(), 1u);
  rig.env.queue.advance(0.1);
  EXPECT_EQ(logCount("rollover ignored by the recognizer; restarting the request"), 1u);
  EXPECT_EQ(rig.env.speech.taskCount(), 2u);
  EXPECT_TRUE(stalled->cancelled());
  // The stalled task's cancellation must not end the fresh segment.
  stalled->fail(301, "canceled");
  rig.env.queue.runUntilIdle();
  EXPECT_EQ(rig.state(), DictationController::State::listening);
  rig.speak(3);
  rig.press();
  rig.task().final("and after it");
  rig.settle();
  EXPECT_EQ(rig.pasted(), "Words before the stall and after it");
}

TEST_F(SegmentScenarioTest, FourthSilentSegmentEndCommitsWhatWasGathered) {
  rig.startSpeaking();
  rig.task().final("kept text");
  rig.env.queue.runUntilIdle();
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(rig.state(), DictationController::State::listening) << i;
    rig.task().final("");
    rig.env.queue.runUntilIdle();
  }
  EXPECT_EQ(rig.state(), DictationController::State::idle);
  EXPECT_TRUE(logHas("segment ended while listening reason=final restarts=4 chars=9"));
  rig.settle();
  EXPECT_EQ(rig.pasted(), "Kept text");
}

TEST_F(SegmentScenarioTest, ThirdErrorWithoutTextEndsTheUtteranceAsFailed) {
  rig.startSpeaking();
  for (int i = 0; i < 2; ++i) {
    rig.task().fail(1101, "no speech detected");
    rig.env.queue.runUntilIdle();
  }
  EXPECT_EQ(rig.state(), DictationController::State::listening);
  rig.task().fail(1101, "no speech detected");
  rig.env.queue.runUntilIdle();
  EXPECT_EQ(rig.state(), DictationController::State::idle);
  EXPECT_EQ(rig.pillState(), "Dictation failed \u2014 no speech heard");
}

TEST_F(SegmentScenarioTest, ResultsOfAnEarlierUtteranceAreIgnored) {
  rig.startSpeaking();
  auto *old = &rig.task();
  rig.controller->abort(rig.controller->generation(), "Discarded");
  int generation = rig.controller->generation();
  rig.controller->abort(generation - 1, "stale abort");
  EXPECT_FALSE(logHas("stale abort"));
  rig.startSpeaking();
  old->partial("ghost words from before");
  old->final("ghost words from before");
  rig.env.queue.runUntilIdle();
  EXPECT_EQ(rig.state(), DictationController::State::listening);
  rig.press();
  rig.task().final("fresh");
  rig.settle();
  EXPECT_EQ(rig.pasted(), "Fresh");
}

TEST_F(SegmentScenarioTest, RouteChangeRetapsAtTheNewRateAndRestartsTheEngine) {
  rig.startSpeaking();
  auto *engine = rig.env.audio.runningEngine();
  engine->changeRoute({44100, 2});
  EXPECT_TRUE(engine->isRunning());
  EXPECT_EQ(engine->tapFormat(), (AudioFormat{44100, 1}));
  EXPECT_DOUBLE_EQ(rig.controller->captureRate(), 44100);
  EXPECT_TRUE(logHas("audio route changed input=Test Microphone rate=44100 ch=2"));
  engine->changeRoute({0, 0}); // no usable input: the old tap stays
  EXPECT_EQ(engine->tapFormat(), (AudioFormat{44100, 1}));
}

} // namespace
} // namespace selvar::testing
