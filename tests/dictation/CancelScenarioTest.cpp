// The cancel key's confirmation as the user meets it: hold back, discard, keep, continue.

#include "dictation/DictationRig.h"
#include "records/History.h"

#include <gtest/gtest.h>

namespace selvar::testing {
namespace {

class CancelScenarioTest : public ::testing::Test {
protected:
  // Cancel once while listening, with "words" heard so far.
  void speakThenCancel(const char *heard = "i went home") {
    rig.startSpeaking();
    rig.task().partial(heard);
    rig.env.queue.runUntilIdle();
    EXPECT_TRUE(rig.escape()); // swallowed while dictating
  }
  DictationRig rig;
};

TEST_F(CancelScenarioTest, CancelOnceThenWaitTenSecondsKeepsTheUtterance) {
  speakThenCancel();
  EXPECT_EQ(rig.state(), DictationController::State::transcribing);
  EXPECT_EQ(rig.pillState(), "Discard?");
  EXPECT_EQ(rig.pillQuestion(), "\u23CE continue   Escape (\u238B) cancel");
  EXPECT_TRUE(logHas("cancel key escape: armed to discard while listening"));
  rig.task().final("i went home");
  rig.env.queue.runUntilIdle();
  EXPECT_TRUE(logHas("commit held 11 chars: waiting out the escape confirmation"));
  EXPECT_EQ(rig.pillState(), "Discard?");
  rig.env.queue.advance(9.9);
  EXPECT_FALSE(rig.pasted());
  rig.env.queue.advance(0.2);
  EXPECT_TRUE(logHas("cancel window closed: keeping the utterance"));
  EXPECT_FALSE(rig.pillVisible());
  rig.settle();
  EXPECT_EQ(rig.pasted(), "I went home");
  EXPECT_EQ(History::mostRecentText(), "I went home");
}

TEST_F(CancelScenarioTest, CancelTwiceDiscardsAndARepeatWithinTheFilterCountsOnce) {
  speakThenCancel();
  rig.env.queue.advance(0.1);
  rig.escape(); // key repeat: ignored
  EXPECT_EQ(rig.state(), DictationController::State::transcribing);
  rig.task().final("i went home");
  rig.env.queue.advance(0.1);
  rig.escape();
  EXPECT_TRUE(logHas("cancel key pressed twice: discarding the utterance"));
  EXPECT_TRUE(logHas("capture aborted: Discarded"));
  EXPECT_EQ(rig.pillState(), "Discarded");
  rig.env.queue.advance(12);
  EXPECT_FALSE(rig.pasted());
  EXPECT_FALSE(History::mostRecentText());
  EXPECT_FALSE(rig.pillVisible());
}

// A recognizer reports its cancelled task with whatever it had heard; that is not a final text.
TEST_F(CancelScenarioTest, TheRecognizersLateReportAfterADiscardInsertsNothing) {
  speakThenCancel();
  rig.env.queue.advance(0.2);
  rig.escape();
  ASSERT_TRUE(logHas("capture aborted: Discarded"));
  rig.task().final("i went home");
  rig.env.queue.advance(12);
  EXPECT_FALSE(rig.pasted());
  EXPECT_FALSE(History::mostRecentText());
}

TEST_F(CancelScenarioTest, ReturnContinuesAndTheNewSpeechJoinsTheHeldText) {
  speakThenCancel();
  rig.task().final("i went home");
  rig.env.queue.runUntilIdle();
  EXPECT_TRUE(rig.returnKey());
  EXPECT_TRUE(logHas("return while the confirmation is open: continuing the recording"));
  EXPECT_EQ(rig.state(), DictationController::State::listening);
  EXPECT_EQ(rig.controller->resumePrefix(), "I went home");
  rig.speak(5);
  rig.press();
  rig.task().final("then I slept");
  rig.settle();
  EXPECT_EQ(rig.pastes, std::vector<std::string>{"I went home then I slept"});
}

TEST_F(CancelScenarioTest, ContinuedRecordingThatHearsNothingDeliversTheHeldText) {
  speakThenCancel();
  rig.task().final("i went home");
  rig.env.queue.runUntilIdle();
  rig.returnKey();
  rig.speak(20, kQuiet);
  rig.press();
  rig.task().final("");
  rig.settle();
  EXPECT_EQ(rig.pastes, std::vector<std::string>{"I went home"});
  EXPECT_TRUE(logHas("continued recording heard nothing new; inserting the 11 held chars"));
}

TEST_F(CancelScenarioTest, TheTriggerDisarmsTheConfirmation) {
  speakThenCancel();
  rig.task().final("i went home");
  rig.env.queue.runUntilIdle();
  rig.press(); // toggle: lets the held text through, starts nothing
  EXPECT_TRUE(logHas("cancel disarmed by the trigger key; inserting the held text"));
  EXPECT_EQ(rig.state(), DictationController::State::idle);
  rig.settle();
  EXPECT_EQ(rig.pastes, std::vector<std::string>{"I went home"});

  rig.setMode(TriggerMode::hold);
  rig.trigger(true);
  rig.speak(5);
  rig.task().partial("second");
  rig.env.queue.runUntilIdle();
  rig.escape();
  rig.trigger(true); // hold: the held text goes in and a new recording starts at once
  EXPECT_EQ(rig.state(), DictationController::State::listening);
  rig.settle();
  EXPECT_EQ(rig.pastes.back(), "Second");
}

TEST_F(CancelScenarioTest, ARecordingStartedElsewhereLetsTheHeldTextGoInFirst) {
  speakThenCancel();
  rig.task().final("i went home");
  rig.env.queue.runUntilIdle();
  rig.controller->runTestUtterance(5);
  EXPECT_EQ(rig.state(), DictationController::State::listening);
  EXPECT_FALSE(rig.controller->hasPendingInsert());
  rig.settle();
  EXPECT_EQ(rig.pastes, std::vector<std::string>{"I went home"});
}

TEST_F(CancelScenarioTest, EscapeSwallowingFollowsTheSetting) {
  EXPECT_FALSE(rig.escape()); // nothing under way: Escape and Return belong to the front app
  EXPECT_FALSE(rig.returnKey());
  rig.env.settings.setValue(PrefKey::swallowEscapeWhileDictating, false);
  rig.startSpeaking();
  EXPECT_FALSE(rig.escape()); // passed on, and still acted on
  EXPECT_EQ(rig.pillState(), "Discard?");
}

} // namespace
} // namespace selvar::testing
