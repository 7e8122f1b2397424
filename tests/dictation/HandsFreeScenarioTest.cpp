// Hands-free listening: speech onset, the pre-roll, and the silence that ends the utterance.

#include "dictation/DictationRig.h"

#include <gtest/gtest.h>

namespace selvar::testing {
namespace {

using State = DictationController::State;

class HandsFreeScenarioTest : public ::testing::Test {
protected:
  void goHandsFree(double rate = 48000) {
    rig.env.audio.inputFormat = {rate, 1};
    rig.setMode(TriggerMode::automatic);
    rig.env.notifications.post(kTriggerChangedNotification);
    rig.env.queue.runUntilIdle();
  }
  void monitorHears(std::initializer_list<float> levels) {
    auto *monitor = rig.env.audio.runningEngine();
    ASSERT_TRUE(monitor);
    for (float level : levels)
      monitor->feed(makeToneBuffer(level, monitor->tapFormat().sampleRate));
    rig.env.queue.runUntilIdle();
  }
  DictationRig rig;
};

TEST_F(HandsFreeScenarioTest, TwoLoudBuffersInARowStartARecordingOneDoesNot) {
  goHandsFree();
  EXPECT_TRUE(rig.controller->monitorRunning());
  EXPECT_TRUE(logHas("hands-free monitor started"));
  EXPECT_TRUE(rig.diagnosticsHave("\"name\":\"hands-free.armed\""));
  monitorHears({kQuiet, kSpeech, kQuiet, kSpeech, kQuiet});
  EXPECT_EQ(rig.state(), State::idle);
  monitorHears({kSpeech, kSpeech});
  EXPECT_EQ(rig.state(), State::listening);
  EXPECT_FALSE(rig.controller->monitorRunning());
  EXPECT_TRUE(logHas("hands-free monitor stopped"));
}

TEST_F(HandsFreeScenarioTest, SilenceEndsTheUtteranceOneBufferEarlyAt48And44Point1kHz) {
  struct Case {
    double rate;
    int quietBuffersToEnd; // after the last voiced buffer, which already counts as one
  } cases[] = {{48000, 32}, {44100, 30}};
  for (const auto &c : cases) {
    DictationRig local;
    local.env.audio.inputFormat = {c.rate, 1};
    local.setMode(TriggerMode::automatic);
    local.env.notifications.post(kTriggerChangedNotification);
    local.env.queue.runUntilIdle();
    auto *monitor = local.env.audio.runningEngine();
    monitor->feed(makeToneBuffer(kSpeech, c.rate));
    monitor->feed(makeToneBuffer(kSpeech, c.rate));
    local.env.queue.runUntilIdle();
    local.speak(6);
    local.speak(c.quietBuffersToEnd - 1, kQuiet);
    EXPECT_EQ(local.state(), State::listening) << c.rate;
    local.speak(1, kQuiet);
    EXPECT_EQ(local.state(), State::transcribing) << c.rate;
    EXPECT_TRUE(logHas("hands-free: silence, ending the utterance")) << c.rate;
  }
}

TEST_F(HandsFreeScenarioTest, SilenceNeverEndsAHeldOrToggledRecording) {
  rig.startSpeaking();
  rig.speak(100, kQuiet);
  EXPECT_EQ(rig.state(), State::listening);
}

TEST_F(HandsFreeScenarioTest, NoNewUtteranceAfterOneUntilTheTriggerModeIsSetAgain) {
  goHandsFree();
  monitorHears({kSpeech, kSpeech});
  rig.speak(5);
  rig.speak(32, kQuiet);
  rig.task().final("hands free");
  rig.settle();
  EXPECT_EQ(rig.pasted(), "Hands free");
  EXPECT_FALSE(rig.controller->monitorRunning());
  EXPECT_EQ(rig.env.audio.runningEngine(), nullptr);
  rig.env.notifications.post(kTriggerChangedNotification);
  rig.env.queue.runUntilIdle();
  EXPECT_TRUE(rig.controller->monitorRunning());
  rig.setMode(TriggerMode::toggle); // leaving automatic stops it
  rig.env.notifications.post(kTriggerChangedNotification);
  rig.env.queue.runUntilIdle();
  EXPECT_FALSE(rig.controller->monitorRunning());
}

TEST_F(HandsFreeScenarioTest, MonitorNeedsTheMicrophoneAndAWorkingEngine) {
  rig.env.permissions.microphoneState = PermissionState::denied;
  goHandsFree();
  EXPECT_FALSE(rig.controller->monitorRunning());
  EXPECT_EQ(rig.env.audio.enginesMade(), 0u);
  rig.env.permissions.microphoneState = PermissionState::granted;
  rig.env.audio.startResults = {std::string("no device")};
  goHandsFree();
  EXPECT_FALSE(rig.controller->monitorRunning());
  EXPECT_TRUE(logHas("hands-free monitor failed: no device"));
}

TEST_F(HandsFreeScenarioTest, PrerollOpensTheServerRecordingInOrderBeforeLiveAudio) {
  rig.env.settings.setValue(PrefKey::dictationEngine, std::string("server-transcription"));
  rig.servers.running.insert("server-transcription");
  goHandsFree();
  auto *monitor = rig.env.audio.runningEngine();
  std::vector<float> levels;
  for (int i = 0; i < 20; ++i)
    levels.push_back(0.0001f * static_cast<float>(i + 1));
  levels.push_back(0.05f);
  levels.push_back(0.06f);
  for (float level : levels)
    monitor->feed(makeToneBuffer(level, 48000));
  rig.env.queue.runUntilIdle();
  ASSERT_EQ(rig.state(), State::listening);
  rig.speak(3);
  // 0.7 s at 48 kHz holds 16 buffers: the newest 16 heard, then the live ones.
  std::vector<float> expected(levels.end() - 16, levels.end());
  expected.insert(expected.end(), 3, kSpeech);
  EXPECT_EQ(rig.recorders[0]->firstSamples(), expected);
  EXPECT_TRUE(logHas("hands-free pre-roll 16 buffers"));
}

TEST_F(HandsFreeScenarioTest, PrerollOfAnotherFormatIsNotWritten) {
  rig.env.settings.setValue(PrefKey::dictationEngine, std::string("server-transcription"));
  rig.servers.running.insert("server-transcription");
  goHandsFree(44100);
  rig.env.audio.inputFormat = {48000, 1}; // the route changed before the recording opened
  monitorHears({kSpeech, kSpeech});
  ASSERT_EQ(rig.state(), State::listening);
  EXPECT_TRUE(rig.recorders[0]->firstSamples().empty());
  EXPECT_TRUE(logHas("hands-free pre-roll 0 buffers"));
}

} // namespace
} // namespace selvar::testing
