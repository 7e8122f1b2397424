// Utterances transcribed by the local server: the WAV recording, the reply, and what is kept
// when no text comes back.

#include "dictation/DictationRig.h"
#include "dictation/FailedRecordings.h"
#include "records/History.h"

#include <gtest/gtest.h>

namespace selvar::testing {
namespace {

namespace fs = std::filesystem;

class ServerPathScenarioTest : public ::testing::Test {
protected:
  void SetUp() override {
    rig.env.settings.setValue(PrefKey::dictationEngine, std::string("server-transcription"));
    rig.servers.running.insert("server-transcription");
  }
  // One recorded and ended utterance, waiting for the server's answer.
  ScriptedServers::Transcription &recordAndEnd(int buffers = 10) {
    rig.startSpeaking(buffers);
    rig.press();
    return rig.servers.transcriptions.back();
  }
  DictationRig rig;
};

TEST_F(ServerPathScenarioTest, ReplyIsPastedAndTheRecordingDeleted) {
  rig.env.settings.setValue(PrefKey::recognitionLanguage, std::string("de-CH"));
  auto &sent = recordAndEnd();
  EXPECT_EQ(rig.state(), DictationController::State::transcribing);
  EXPECT_EQ(sent.endpoint.port, 8020);
  EXPECT_EQ(sent.language, "de");
  EXPECT_EQ(sent.prompt, ""); // no dictionary, no prompt
  EXPECT_DOUBLE_EQ(sent.timeout, 60);
  EXPECT_EQ(sent.wav.size(), 10u * 2048 * sizeof(float));
  EXPECT_TRUE(rig.diagnosticsHave("\"language\":\"local-server\""));
  rig.env.queue.advance(30); // no on-device fallback timer on this path
  EXPECT_EQ(rig.state(), DictationController::State::transcribing);
  sent.reply({"hello from the server", std::nullopt});
  rig.settle();
  EXPECT_EQ(rig.pasted(), "Hello from the server");
  EXPECT_FALSE(fs::exists(rig.recorders[0]->path()));
  EXPECT_TRUE(FailedRecordings::list().empty());
}

TEST_F(ServerPathScenarioTest, ServerErrorIsFlashedAndTheRecordingKeptForARetry) {
  auto &sent = recordAndEnd();
  sent.reply({"", DictationError{0, "the local server could not load its model", true}});
  rig.env.queue.runUntilIdle();
  EXPECT_EQ(rig.pillState(), "the local server could not load its model");
  EXPECT_TRUE(logHas("server transcription failed: the local server could not load its model"));
  auto kept = rig.controller->lastFailedRecording();
  ASSERT_TRUE(kept);
  EXPECT_TRUE(fs::exists(*kept));
  EXPECT_EQ(kept->parent_path(), rig.env.files.dataRoot() / "failed");
  EXPECT_TRUE(logHas("kept the recording of the failed utterance: " + kept->string()));

  std::optional<std::pair<bool, std::string>> outcome;
  rig.controller->retryFailedRecording(*kept, [&](bool delivered, const std::string &text) {
    outcome = {delivered, text};
  });
  ASSERT_EQ(rig.servers.transcriptions.size(), 2u);
  rig.servers.transcriptions[1].reply({"second time lucky", std::nullopt});
  rig.settle();
  EXPECT_EQ(rig.pasted(), "Second time lucky");
  EXPECT_EQ(outcome, std::make_pair(true, std::string("Second time lucky")));
  EXPECT_EQ(History::mostRecentText(), "Second time lucky");
  EXPECT_FALSE(fs::exists(*kept));
  EXPECT_FALSE(rig.controller->lastFailedRecording());
}

TEST_F(ServerPathScenarioTest, TransportErrorShowsTheGenericFailureAndKeepsTheAudio) {
  recordAndEnd().reply({"", DictationError{-1004, "Could not connect to the server."}});
  rig.env.queue.runUntilIdle();
  EXPECT_EQ(rig.pillState(), "Dictation failed \u2014 code -1004");
  EXPECT_EQ(FailedRecordings::list().size(), 1u);
}

TEST_F(ServerPathScenarioTest, OnlyTheNewestTwentyFailedRecordingsAreKept) {
  for (int i = 0; i < 22; ++i) {
    recordAndEnd(2).reply({"", DictationError{-1001, "timed out"}});
    rig.env.queue.advance(3);
  }
  auto kept = FailedRecordings::list();
  EXPECT_EQ(kept.size(), 20u);
  EXPECT_EQ(kept.front(), rig.controller->lastFailedRecording());
  EXPECT_FALSE(fs::exists(rig.env.files.dataRoot() / "failed" / "selvar-0.wav"));
  EXPECT_FALSE(fs::exists(rig.env.files.dataRoot() / "failed" / "selvar-1.wav"));
}

TEST_F(ServerPathScenarioTest, ReplyAfterANewUtteranceBeganIsIgnoredButItsAudioKept) {
  auto &first = recordAndEnd();
  rig.press(); // superseded while the server works
  rig.startSpeaking();
  first.reply({"too late", std::nullopt});
  rig.env.queue.runUntilIdle();
  EXPECT_EQ(rig.state(), DictationController::State::listening);
  EXPECT_FALSE(rig.pasted());
  EXPECT_EQ(FailedRecordings::list().size(), 1u);
}

TEST_F(ServerPathScenarioTest, DiscardedUtteranceTakesItsAudioWithIt) {
  rig.startSpeaking();
  rig.escape();
  rig.escape();
  rig.env.queue.advance(0.2);
  rig.escape(); // second press after the repeat filter: discard
  EXPECT_FALSE(fs::exists(rig.recorders[0]->path()));
  rig.servers.transcriptions.back().reply({"", DictationError{-1001, "timed out"}});
  rig.env.queue.runUntilIdle();
  EXPECT_TRUE(FailedRecordings::list().empty());
}

// The first cancel press already sent the audio; the text that comes back after the second
// press must not be inserted.
TEST_F(ServerPathScenarioTest, ReplyToADiscardedUtteranceIsDropped) {
  rig.startSpeaking();
  rig.escape();
  rig.env.queue.advance(0.2);
  rig.escape();
  ASSERT_TRUE(logHas("capture aborted: Discarded"));
  rig.servers.transcriptions.back().reply({"this must never arrive", std::nullopt});
  rig.settle();
  EXPECT_FALSE(rig.pasted());
  EXPECT_FALSE(History::mostRecentText());
  EXPECT_TRUE(FailedRecordings::list().empty());
  EXPECT_EQ(rig.state(), DictationController::State::idle);
}

// Escape right after the start: the recording is too short to send, so ending it closes the
// utterance at once and no confirmation may be left open over nothing.
TEST_F(ServerPathScenarioTest, CancelWithinTheFirstMomentLeavesNoConfirmationBehind) {
  rig.press();
  rig.speak(2, kSpeech, 16); // too short for the recorder to keep a file
  rig.env.queue.advance(0.05);
  rig.escape();
  EXPECT_EQ(rig.state(), DictationController::State::idle);
  EXPECT_NE(rig.pillState(), "Discard?");
  rig.env.queue.advance(12);
  EXPECT_FALSE(rig.pillVisible());
  EXPECT_FALSE(rig.escape()) << "escape belongs to the focused application again";
  rig.startSpeaking();
  EXPECT_EQ(rig.pillState(), "Listening");
  EXPECT_TRUE(rig.escape());
  EXPECT_EQ(rig.pillState(), "Discard?");
}

TEST_F(ServerPathScenarioTest, CaptureStartFailuresAbortWithTheirMessage) {
  rig.failRecorder = true;
  rig.press();
  EXPECT_EQ(rig.pillState(), "Could not open a recording");
  rig.env.queue.advance(3);
  rig.failRecorder = false;
  rig.env.audio.startResults = {std::string("device busy")};
  rig.press();
  EXPECT_EQ(rig.pillState(), "Microphone unavailable");
  EXPECT_TRUE(logHas("server capture start failed: device busy"));
  EXPECT_FALSE(fs::exists(rig.recorders[0]->path()));
}

TEST_F(ServerPathScenarioTest, ServerNotRunningStartsItAndRecordsOnceReady) {
  rig.servers.running.clear();
  rig.press();
  EXPECT_EQ(rig.pillState(), "Starting the local server\u2026");
  ASSERT_EQ(rig.servers.starts.size(), 1u);
  EXPECT_EQ(rig.servers.startedModels[0], "mlx-community/whisper-large-v3-turbo");
  rig.servers.running.insert("server-transcription");
  rig.servers.starts[0](true);
  rig.env.queue.runUntilIdle();
  EXPECT_EQ(rig.state(), DictationController::State::listening);

  DictationRig other;
  other.env.settings.setValue(PrefKey::dictationEngine, std::string("server-transcription"));
  other.servers.installed = false;
  other.press();
  other.servers.starts[0](false);
  other.env.queue.runUntilIdle();
  EXPECT_EQ(other.pillState(), "Run ./tools/setup-asr.sh once");
}

TEST_F(ServerPathScenarioTest, TooShortRecordingEndsAsAFailureWithNothingToKeep) {
  rig.press();
  rig.speak(2, kSpeech, 16); // 32 samples: the recorder gives no file
  rig.press();
  EXPECT_TRUE(rig.servers.transcriptions.empty());
  EXPECT_EQ(rig.state(), DictationController::State::idle);
  EXPECT_TRUE(FailedRecordings::list().empty());
}

} // namespace
} // namespace selvar::testing
