// Utterances streamed to a server that offers sessions: the session's text, the whole file as
// the fallback when the session fails, and sessions ended when the utterance is thrown away.

#include "dictation/DictationRig.h"
#include "dictation/FailedRecordings.h"
#include "records/History.h"

#include <gtest/gtest.h>

namespace selvar::testing {
namespace {

namespace fs = std::filesystem;

class ServerSessionScenarioTest : public ::testing::Test {
protected:
  void SetUp() override {
    rig.env.settings.setValue(PrefKey::dictationEngine, std::string("server-transcription"));
    rig.env.settings.setValue(PrefKey::recognitionLanguage, std::string("en-GB"));
    rig.servers.running.insert("server-transcription");
    rig.servers.offersSessions = true;
  }
  ScriptedSession &recordAndEnd() {
    rig.startSpeaking(10);
    rig.press();
    return *rig.servers.sessions.back();
  }
  DictationRig rig;
};

TEST_F(ServerSessionScenarioTest, SessionTextIsPastedWithoutSendingTheFile) {
  auto &session = recordAndEnd();
  EXPECT_EQ(rig.servers.sessionFields.back(), std::make_pair(std::string("en"), std::string()));
  EXPECT_EQ(session.samples(), 10u * 2048); // everything the file got, the session got
  EXPECT_EQ(session.finishTimeout, 60);
  EXPECT_EQ(rig.state(), DictationController::State::transcribing);
  session.reply({"streamed while speaking", std::nullopt});
  rig.settle();
  EXPECT_EQ(rig.pasted(), "Streamed while speaking");
  EXPECT_TRUE(rig.servers.transcriptions.empty());
  EXPECT_FALSE(fs::exists(rig.recorders[0]->path()));
  EXPECT_FALSE(session.cancelled);
}

TEST_F(ServerSessionScenarioTest, FailedSessionFallsBackToTheWholeFile) {
  auto &session = recordAndEnd();
  session.reply({"", DictationError{0, "the local server could not load its model", true}});
  rig.env.queue.runUntilIdle();
  EXPECT_TRUE(logHas("server session failed, sending the whole recording: the local server "
                     "could not load its model"));
  ASSERT_EQ(rig.servers.transcriptions.size(), 1u);
  EXPECT_EQ(rig.servers.transcriptions[0].wav.size(), 10u * 2048 * sizeof(float));
  EXPECT_EQ(rig.state(), DictationController::State::transcribing);
  rig.servers.transcriptions[0].reply({"from the whole file", std::nullopt});
  rig.settle();
  EXPECT_EQ(rig.pasted(), "From the whole file");
  EXPECT_TRUE(FailedRecordings::list().empty());
}

// Outcomes that a second request could not change go straight to the usual failure handling.
TEST_F(ServerSessionScenarioTest, NoFallbackForSilenceOrASupersededUtterance) {
  recordAndEnd().reply(
      {"", DictationError{2, "the local server heard no speech", true, /*heardNothing=*/true}});
  rig.env.queue.runUntilIdle();
  EXPECT_TRUE(rig.servers.transcriptions.empty());
  EXPECT_EQ(FailedRecordings::list().size(), 1u); // kept, as for the whole file

  auto &old = recordAndEnd();
  rig.press(); // superseded while the server works
  rig.startSpeaking();
  old.reply({"", DictationError{-1001, "timed out"}});
  rig.env.queue.runUntilIdle();
  EXPECT_TRUE(rig.servers.transcriptions.empty());
  EXPECT_EQ(rig.state(), DictationController::State::listening);
  EXPECT_EQ(FailedRecordings::list().size(), 2u);
}

TEST_F(ServerSessionScenarioTest, DiscardingEndsTheSessionWhileListeningOrTranscribing) {
  rig.startSpeaking();
  auto &listening = *rig.servers.sessions.back();
  rig.escape();
  rig.env.queue.advance(0.2);
  rig.escape(); // discard while listening
  EXPECT_TRUE(listening.cancelled);

  auto &transcribing = recordAndEnd();
  rig.env.queue.advance(0.2);
  rig.escape();
  rig.env.queue.advance(0.2);
  rig.escape(); // discard while transcribing
  EXPECT_TRUE(transcribing.cancelled);
  // A reply already on its way does nothing, and no fallback request follows.
  transcribing.reply({"", DictationError{-999, "cancelled"}});
  rig.settle();
  EXPECT_FALSE(rig.pasted());
  EXPECT_TRUE(rig.servers.transcriptions.empty());
  EXPECT_TRUE(FailedRecordings::list().empty());
  EXPECT_EQ(rig.state(), DictationController::State::idle);
}

TEST_F(ServerSessionScenarioTest, AServerWithoutSessionsGetsTheWholeFile) {
  rig.servers.offersSessions = false;
  rig.startSpeaking(10);
  rig.press();
  ASSERT_EQ(rig.servers.transcriptions.size(), 1u);
  EXPECT_TRUE(rig.servers.sessions.empty());
}

} // namespace
} // namespace selvar::testing
