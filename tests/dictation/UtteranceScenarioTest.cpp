// Whole utterances on the on-device path, from the trigger to the pasted text.

#include "dictation/DictationActivity.h"
#include "dictation/DictationRig.h"
#include "records/History.h"

#include <gtest/gtest.h>

namespace selvar::testing {
namespace {

class UtteranceScenarioTest : public ::testing::Test {
protected:
  DictationRig rig;
};

TEST_F(UtteranceScenarioTest, HoldUtteranceFromTriggerToPastedTextHistoryAndDiagnostics) {
  rig.setMode(TriggerMode::hold);
  rig.env.pasteboard.setString("what was on the clipboard");
  rig.trigger(true);
  EXPECT_EQ(rig.state(), DictationController::State::listening);
  EXPECT_TRUE(DictationActivity::inFlight);
  EXPECT_EQ(rig.pillState(), "Listening");
  EXPECT_TRUE(rig.pillVisible());

  rig.speak(10);
  rig.task().partial("um hello");
  rig.task().partial("um hello world");
  rig.env.queue.runUntilIdle();
  EXPECT_EQ(rig.env.speech.lastRequest()->bufferCount(), 10u);

  rig.trigger(false);
  EXPECT_EQ(rig.state(), DictationController::State::transcribing);
  EXPECT_EQ(rig.pillState(), "Transcribing");
  EXPECT_TRUE(rig.env.speech.lastRequest()->audioEnded());

  rig.task().final("um hello world");
  rig.env.queue.runUntilIdle();
  EXPECT_EQ(rig.state(), DictationController::State::idle);
  EXPECT_FALSE(DictationActivity::inFlight);
  EXPECT_FALSE(rig.pillVisible());
  EXPECT_EQ(rig.env.pasteboard.string(), "Hello world");
  rig.settle(0.06);
  ASSERT_EQ(rig.env.keys.posted.size(), 1u);
  EXPECT_EQ(History::mostRecentText(), "Hello world");
  rig.settle(1.0);
  EXPECT_EQ(rig.env.pasteboard.string(), "what was on the clipboard");

  EXPECT_TRUE(logHas("trigger down keycode=61 mode=hold"));
  EXPECT_TRUE(logHas("capture input=Test Microphone rate=48000 ch=1 voiceProcessing=true "
                     "attempt=1"));
  EXPECT_TRUE(logHas("insert: front=com.example.editor selvarActive=false focusRestored=true"));
  EXPECT_TRUE(rig.diagnosticsHave("\"name\":\"utterance.begin\""));
  EXPECT_TRUE(rig.diagnosticsHave("\"language\":\"en-US\""));
  EXPECT_TRUE(rig.diagnosticsHave("\"kind\":\"utterance\""));
  EXPECT_TRUE(rig.diagnosticsHave("\"reason\":\"final\""));
  EXPECT_TRUE(rig.diagnosticsHave("\"buffers\":10"));
}

TEST_F(UtteranceScenarioTest, ToggleUtteranceWithRewriteApplied) {
  rig.servers.running.insert("server-rewrite");
  rig.env.settings.setValue(PrefKey::rewriteEngine, std::string("server-rewrite"));
  rig.startSpeaking();
  rig.press(); // second press finishes
  EXPECT_EQ(rig.state(), DictationController::State::transcribing);
  rig.task().final("their going home");
  rig.env.queue.runUntilIdle();
  ASSERT_EQ(rig.servers.rewrites.size(), 1u);
  EXPECT_EQ(rig.servers.rewrites[0].text, "Their going home");
  EXPECT_DOUBLE_EQ(rig.servers.rewrites[0].timeout, 0.9 + 2.0); // 400 ms raised to 0.9 s
  rig.servers.rewrites[0].reply({"They're going home.", std::nullopt});
  rig.settle();
  EXPECT_EQ(rig.pasted(), "They're going home.");
  EXPECT_TRUE(logHas("rewrite applied 19 chars"));
}

TEST_F(UtteranceScenarioTest, ScreenedOutRewriteIsNeverReportedAsApplied) {
  rig.servers.running.insert("server-rewrite");
  rig.env.settings.setValue(PrefKey::rewriteEngine, std::string("server-rewrite"));
  rig.startSpeaking();
  rig.press();
  rig.task().final("their going home");
  rig.env.queue.runUntilIdle();
  ASSERT_EQ(rig.servers.rewrites.size(), 1u);
  rig.servers.rewrites[0].reply({"Their going home", std::nullopt, true});
  rig.settle();
  EXPECT_EQ(rig.pasted(), "Their going home");
  EXPECT_TRUE(logHas("rewrite not used; inserting the cleaned text"));
  EXPECT_FALSE(logHas("rewrite applied"));
}

TEST_F(UtteranceScenarioTest, ServerDownMeansNoRewriteRequest) {
  rig.env.settings.setValue(PrefKey::rewriteEngine, std::string("server-rewrite"));
  rig.startSpeaking();
  rig.press();
  rig.task().final("their going home");
  rig.settle();
  EXPECT_TRUE(rig.servers.rewrites.empty());
  EXPECT_EQ(rig.pasted(), "Their going home");
}

TEST_F(UtteranceScenarioTest, RewriteRacingItsBudget) {
  rig.servers.running.insert("server-rewrite");
  rig.env.settings.setValue(PrefKey::rewriteEngine, std::string("server-rewrite"));
  rig.env.settings.setValue(PrefKey::rewriteBudgetMS, std::int64_t{1500});
  struct Case {
    const char *name;
    double replyAfter; // seconds after the request; negative: a failure instead
    const char *pasted;
  } cases[] = {{"reply in time", 1.4, "Rewritten."},
               {"reply after the budget", 1.6, "Spoken words"},
               {"failure in time", -0.5, "Spoken words"}};
  for (const auto &c : cases) {
    rig.pastes.clear();
    rig.startSpeaking();
    rig.press();
    rig.task().final("spoken words");
    rig.env.queue.runUntilIdle();
    auto &request = rig.servers.rewrites.back();
    rig.env.queue.advance(std::abs(c.replyAfter));
    if (c.replyAfter < 0)
      request.reply({"", DictationError{-1004, "connection refused"}});
    else
      request.reply({"Rewritten.", std::nullopt});
    rig.settle();
    EXPECT_EQ(rig.pastes, std::vector<std::string>{c.pasted}) << c.name;
  }
  EXPECT_TRUE(logHas("rewrite failed: connection refused"));
}

TEST_F(UtteranceScenarioTest, LateFinalAfterTheFallbackTimerChangesNothing) {
  rig.startSpeaking();
  rig.env.queue.advance(5);
  rig.task().partial("best partial so far");
  rig.press();
  rig.env.queue.advance(7.9);
  EXPECT_EQ(rig.state(), DictationController::State::transcribing);
  rig.env.queue.advance(0.1); // 5 s of recording: the floor of 8 s
  EXPECT_EQ(rig.state(), DictationController::State::idle);
  EXPECT_TRUE(logHas("transcribe: no final after 8s, committing partial (19 chars)"));
  rig.task().final("a late and different final");
  rig.settle();
  EXPECT_EQ(rig.env.keys.posted.size(), 1u);
  EXPECT_EQ(rig.pasted(), "Best partial so far");
}

TEST_F(UtteranceScenarioTest, FallbackDelayFollowsTheRecordingLength) {
  struct Case {
    double recorded, fallback;
  } cases[] = {{20, 16}, {60, 30}};
  for (const auto &c : cases) {
    rig.startSpeaking();
    rig.env.queue.advance(c.recorded);
    rig.task().partial("words");
    rig.env.queue.runUntilIdle();
    rig.press();
    rig.env.queue.advance(c.fallback - 0.01);
    EXPECT_EQ(rig.state(), DictationController::State::transcribing) << c.recorded;
    rig.env.queue.advance(0.01);
    EXPECT_EQ(rig.state(), DictationController::State::idle) << c.recorded;
  }
}

TEST_F(UtteranceScenarioTest, NearSilentUtteranceIsDroppedWhateverTheRecognizerSays) {
  rig.press();
  rig.speak(1, 0.5f); // a level whose RMS is exact in floating point
  rig.speak(30, kQuiet);
  rig.press();
  rig.task().final("thank you");
  rig.settle();
  EXPECT_FALSE(rig.pasted());
  EXPECT_TRUE(logHas("utterance discarded: voiced buffers 1, peak rms 0.5 (reason=final)"));
  EXPECT_FALSE(History::mostRecentText());
}

TEST_F(UtteranceScenarioTest, FinalThatDroppedMostOfThePartialLosesToIt) {
  rig.startSpeaking();
  rig.task().partial("the whole sentence as spoken");
  rig.press();
  rig.task().final("sentence");
  rig.settle();
  EXPECT_EQ(rig.pasted(), "The whole sentence as spoken");
  EXPECT_TRUE(rig.diagnosticsHave("\"suspect_truncation\":false"));
}

TEST_F(UtteranceScenarioTest, RecognizerErrorWithoutTextFlashesTheShortReason) {
  rig.startSpeaking();
  rig.press();
  rig.task().fail(1110, "model loading");
  rig.env.queue.runUntilIdle();
  EXPECT_EQ(rig.pillState(), "Dictation failed \u2014 model still loading");
  EXPECT_TRUE(rig.pillVisible());
  rig.env.queue.advance(2.5);
  EXPECT_FALSE(rig.pillVisible());
  EXPECT_TRUE(logHas("utterance ended empty reason=error error=model loading"));
}

// A session where no keystroke reaches other applications: the text is copied, left there,
// kept in history, and the pill tells the user to paste it themselves, for paste-last too.
TEST_F(UtteranceScenarioTest, WithoutKeystrokesTheTextIsCopiedAndThePillSaysSo) {
  rig.env.keys.reachesApplications = false;
  rig.env.pasteboard.setString("what was on the clipboard");
  rig.startSpeaking();
  rig.press();
  rig.task().final("hello world");
  rig.env.queue.runUntilIdle();
  rig.settle(0.06);
  EXPECT_EQ(rig.pillState(), "Copied \u2014 press Ctrl+V");
  EXPECT_TRUE(rig.pillVisible());
  rig.settle(2.5);
  EXPECT_FALSE(rig.pillVisible());
  EXPECT_TRUE(rig.env.keys.posted.empty());
  EXPECT_EQ(rig.env.pasteboard.string(), "Hello world");
  EXPECT_EQ(History::mostRecentText(), "Hello world");

  rig.env.pasteboard.setString("copied since");
  rig.env.keyboardTap.keyDown(VirtualKey::v, 0x140000); // paste-last
  rig.env.queue.runUntilIdle();
  rig.settle(0.06);
  EXPECT_EQ(rig.pillState(), "Copied \u2014 press Ctrl+V");
  EXPECT_TRUE(rig.pillVisible());
  rig.settle(5);
  EXPECT_EQ(rig.env.pasteboard.string(), "Hello world");
}

TEST_F(UtteranceScenarioTest, TriggerWhileTranscribingCommitsTheBestHypothesis) {
  rig.startSpeaking();
  rig.task().partial("first thought");
  rig.press();
  rig.press(); // toggle: finish, do not start anew
  EXPECT_EQ(rig.state(), DictationController::State::idle);
  EXPECT_TRUE(logHas("trigger pressed while transcribing; committing the pending utterance"));
  rig.settle();
  EXPECT_EQ(rig.pasted(), "First thought");
  EXPECT_TRUE(rig.diagnosticsHave("\"reason\":\"superseded\""));

  rig.setMode(TriggerMode::hold);
  rig.trigger(true);
  rig.speak(5);
  rig.task().partial("second thought");
  rig.trigger(false);
  rig.trigger(true); // hold: commit, and speak again at once
  EXPECT_EQ(rig.state(), DictationController::State::listening);
  rig.settle();
  EXPECT_EQ(rig.pasted(), "Second thought");
}

TEST_F(UtteranceScenarioTest, FeedbackPurposeSendsTheTextToTheFeedbackWindow) {
  rig.controller->beginFeedbackRecording();
  rig.speak(5);
  rig.controller->endRecording();
  rig.task().final("the pill is too small");
  rig.settle();
  EXPECT_FALSE(rig.pasted());
  ASSERT_EQ(rig.feedback.shown.size(), 1u);
  EXPECT_EQ(rig.feedback.shown[0], "The pill is too small");
  EXPECT_EQ(rig.controller->purpose(), DictationController::Purpose::insert);
  EXPECT_TRUE(logHas("feedback dictation captured 21 chars"));
}

} // namespace
} // namespace selvar::testing
