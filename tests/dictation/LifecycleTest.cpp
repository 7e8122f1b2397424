// Entering a recording and the ways out that produce no text.

#include "dictation/DictationRig.h"

#include <gtest/gtest.h>

namespace selvar::testing {
namespace {

using State = DictationController::State;

TEST(LifecycleTest, RefusedEntryChecksFlashTheirMessageAndChangeNothing) {
  struct Case {
    const char *message;
    std::function<void(DictationRig &)> arrange;
    int microphoneRequests, speechRequests;
  } cases[] = {
      {"Grant Accessibility to Selvar", [](auto &r) { r.env.permissions.accessibility = false; }, 0,
       0},
      {"Grant Microphone to Selvar",
       [](auto &r) { r.env.permissions.microphoneState = PermissionState::denied; }, 0, 0},
      {"Grant Microphone to Selvar",
       [](auto &r) { r.env.permissions.microphoneState = PermissionState::notDetermined; }, 1, 0},
      {"Grant Speech Recognition to Selvar",
       [](auto &r) { r.env.permissions.speechState = PermissionState::notDetermined; }, 0, 1},
      {"No on-device model for this language",
       [](auto &r) {
         r.env.settings.setValue(PrefKey::recognitionLanguage, std::string("tlh"));
         r.env.speech.unsupportedLocales.insert("tlh");
       },
       0, 0},
      {"No on-device model for this language", [](auto &r) { r.env.speech.onDevice = false; }, 0,
       0},
  };
  for (const auto &c : cases) {
    DictationRig rig;
    c.arrange(rig);
    rig.press();
    EXPECT_EQ(rig.state(), State::idle) << c.message;
    EXPECT_EQ(rig.controller->generation(), 0) << c.message;
    EXPECT_EQ(rig.env.audio.enginesMade(), 0u) << c.message;
    EXPECT_EQ(rig.pillState(), c.message);
    EXPECT_EQ(rig.env.permissions.microphoneRequests, c.microphoneRequests) << c.message;
    EXPECT_EQ(rig.env.permissions.speechRequests, c.speechRequests) << c.message;
    rig.env.queue.advance(2.5);
    EXPECT_FALSE(rig.pillVisible()) << c.message;
  }
}

TEST(LifecycleTest, BeginWhileBusyAndFlashWhileListeningChangeNothing) {
  DictationRig rig;
  rig.startSpeaking();
  rig.controller->beginRecording();
  EXPECT_EQ(rig.controller->generation(), 1);
  rig.controller->flash("Something else");
  EXPECT_EQ(rig.pillState(), "Listening");
  EXPECT_TRUE(logHas("flash suppressed while listening: Something else"));
  rig.press();
  rig.controller->beginRecording();
  EXPECT_EQ(rig.controller->generation(), 1);
  EXPECT_EQ(rig.state(), State::transcribing);
}

TEST(LifecycleTest, AutoStopEndsTheRecordingAfterItsMinutes) {
  DictationRig rig;
  rig.env.settings.setValue(PrefKey::autoStopMinutes, std::int64_t{2});
  rig.startSpeaking();
  rig.env.queue.advance(119.9);
  EXPECT_EQ(rig.state(), State::listening);
  rig.env.queue.advance(0.1);
  EXPECT_EQ(rig.state(), State::transcribing);
  EXPECT_TRUE(logHas("auto-stop: 2 minutes reached"));

  DictationRig unlimited;
  unlimited.startSpeaking();
  unlimited.env.queue.advance(3600);
  EXPECT_EQ(unlimited.state(), State::listening);
}

TEST(LifecycleTest, SelvarInFrontRecordsWithoutATargetAndPastesWhereverTheFocusIs) {
  DictationRig rig;
  rig.env.workspace.bringToFront(rig.env.workspace.self.pid);
  rig.env.workspace.hasKeyWindow = true;
  rig.startSpeaking();
  rig.press();
  rig.task().final("note to self");
  rig.settle();
  EXPECT_EQ(rig.pasted(), "Note to self");
  EXPECT_TRUE(logHas("front=app.selvar.Selvar selvarActive=true focusRestored=false"));
  EXPECT_TRUE(rig.env.accessibility.focusChanges.empty());
}

TEST(LifecycleTest, TestUtteranceStopsItselfAfterItsSeconds) {
  DictationRig rig;
  rig.controller->runTestUtterance(3.9);
  EXPECT_TRUE(logHas("test utterance started, will stop after 3s"));
  rig.speak(3);
  rig.env.queue.advance(3.89);
  EXPECT_EQ(rig.state(), State::listening);
  rig.env.queue.advance(0.01);
  EXPECT_EQ(rig.state(), State::transcribing);
  EXPECT_TRUE(logHas("test utterance ending"));
}

TEST(LifecycleTest, InputNotReadyLeavesTheControllerIdleAndTheRetryDoesNothing) {
  DictationRig rig;
  rig.env.audio.inputFormat = {8000, 1};
  rig.press();
  EXPECT_EQ(rig.state(), State::idle);
  EXPECT_FALSE(rig.pillVisible());
  rig.env.queue.advance(1.3);
  EXPECT_EQ(rig.env.audio.enginesMade(), 1u);
  EXPECT_TRUE(logHas("capture input=Test Microphone rate=8000 ch=1"));

  rig.env.audio.inputFormat = {48000, 2};
  rig.press(); // the next press starts afresh, mono at the input's rate
  EXPECT_EQ(rig.state(), State::listening);
  EXPECT_EQ(rig.env.audio.runningEngine()->tapFormat(), (AudioFormat{48000, 1}));
}

TEST(LifecycleTest, EngineThatCannotStartLeavesTheControllerIdleWithoutAMessage) {
  DictationRig rig;
  rig.env.audio.startResults = {std::string("device busy")};
  rig.press();
  EXPECT_EQ(rig.state(), State::idle);
  EXPECT_TRUE(logHas("engine start failed attempt=1: device busy"));
  EXPECT_TRUE(rig.diagnosticsHave("\"name\":\"engine.start_failed\""));
  rig.env.queue.advance(1);
  EXPECT_EQ(rig.env.audio.enginesMade(), 1u); // the retry finds nothing to do
  EXPECT_FALSE(rig.pillVisible());
}

TEST(LifecycleTest, DiagnosticsMeasureTheAudioAtTheInputsRate) {
  DictationRig rig;
  rig.env.audio.inputFormat = {44100, 1};
  rig.startSpeaking(10); // 20480 frames: 0.46 s at 44.1 kHz (0.43 s if taken for 48 kHz)
  rig.press();
  rig.task().final("x");
  rig.settle();
  EXPECT_TRUE(rig.diagnosticsHave("\"audio_seconds_captured\":0.46"));
}

TEST(LifecycleTest, FeedbackRecordingThatCannotStartOpensTheEmptyWindow) {
  DictationRig rig;
  rig.env.permissions.microphoneState = PermissionState::denied;
  rig.controller->beginFeedbackRecording();
  rig.env.queue.runUntilIdle();
  ASSERT_EQ(rig.feedback.shown.size(), 1u);
  EXPECT_FALSE(rig.feedback.shown[0]);
  EXPECT_EQ(rig.controller->purpose(), DictationController::Purpose::insert);
}

TEST(LifecycleTest, PasteLastPastesTheNewestHistoryEntryOrSaysThereIsNone) {
  DictationRig rig;
  EXPECT_TRUE(rig.env.keyboardTap.keyDown(VirtualKey::v, 0x140000)); // control-command-V
  rig.env.queue.runUntilIdle();
  EXPECT_EQ(rig.pillState(), "No dictation yet");
  rig.startSpeaking();
  rig.press();
  rig.task().final("remember this");
  rig.settle();
  rig.env.keyboardTap.keyDown(VirtualKey::v, 0x140000);
  rig.settle();
  EXPECT_EQ(rig.pastes, (std::vector<std::string>{"Remember this", "Remember this"}));
}

} // namespace
} // namespace selvar::testing
