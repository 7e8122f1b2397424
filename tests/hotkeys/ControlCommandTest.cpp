// Key presses sent by another program: how they are named on the command line, what the sending
// copy says, and that the running copy acts on them exactly as on the keys.

#include "hotkeys/ControlCommand.h"

#include "app/CommandLineOptions.h"
#include "dictation/DictationRig.h"
#include "hotkeys/HotkeyHandler.h"
#include "records/History.h"

#include <gtest/gtest.h>

namespace selvar::testing {
namespace {

using State = DictationController::State;

TEST(ControlCommandTest, SwitchesAreFoundAnywhereAndTheFirstOneCounts) {
  struct Case {
    std::vector<std::string> args;
    std::optional<ControlCommand> expected;
  } cases[] = {
      {{"selvar", "--toggle"}, ControlCommand::toggle},
      {{"selvar", "--settings-more", "--cancel"}, ControlCommand::cancel},
      {{"selvar", "--stop", "--start"}, ControlCommand::stop},
      {{"selvar", "--paste-last"}, ControlCommand::pasteLast},
      {{"selvar"}, std::nullopt},
      {{"--start"}, std::nullopt}, // the program itself is never a switch
      {{"selvar", "toggle", "-toggle", "--Toggle", "--toggle=1"}, std::nullopt},
      // A value of another switch still reads as a switch, as every switch here does.
      {{"selvar", "--feedback-voice", "--start"}, ControlCommand::start},
  };
  for (const auto &c : cases)
    EXPECT_EQ(CommandLineOptions::parse(c.args).control, c.expected) << c.args.back();
  EXPECT_NE(CommandLineOptions::helpText().find("--toggle"), std::string::npos);
}

class ScriptedChannel : public ControlChannel {
public:
  bool listen(Receiver) override { return true; }
  ControlSendResult send(const std::string &word) override {
    sent.push_back(word);
    return result;
  }
  ControlSendResult result;
  std::vector<std::string> sent;
};

TEST(ControlCommandTest, TheSenderSaysWhatHappenedAndFailsWithoutARunningCopy) {
  struct Case {
    ControlSendResult result;
    int exitStatus;
    const char *saying; // part of the message, empty for none
  } cases[] = {
      {{ControlDelivery::delivered, {}}, 0, ""},
      {{ControlDelivery::noRunningCopy, {}}, 1, "Selvar is not running, so --stop"},
      {{ControlDelivery::notUnderstood, {}}, 1, "does not understand --stop"},
      {{ControlDelivery::failed, "no answer within 3 seconds"}, 1, "no answer within 3 seconds"},
  };
  for (const auto &c : cases) {
    ScriptedChannel channel;
    channel.result = c.result;
    ControlOutcome outcome = sendControlCommand(channel, ControlCommand::stop);
    EXPECT_EQ(channel.sent, std::vector<std::string>{"stop"});
    EXPECT_EQ(outcome.exitStatus, c.exitStatus);
    if (*c.saying)
      EXPECT_NE(outcome.message.find(c.saying), std::string::npos) << outcome.message;
    else
      EXPECT_EQ(outcome.message, "");
  }
}

class ControlScenarioTest : public ::testing::Test {
protected:
  void send(ControlCommand command) {
    rig.controller->hotkeys().commandReceived(command);
    rig.env.queue.runUntilIdle();
  }
  DictationRig rig;
};

TEST_F(ControlScenarioTest, StartAndStopAreAHeldTriggerInHoldMode) {
  rig.setMode(TriggerMode::hold);
  send(ControlCommand::start);
  EXPECT_EQ(rig.state(), State::listening);
  rig.speak(5);
  rig.task().partial("hello there");
  send(ControlCommand::stop);
  EXPECT_EQ(rig.state(), State::transcribing);
  rig.task().final("hello there");
  rig.settle();
  EXPECT_EQ(rig.pasted(), "Hello there");
  EXPECT_TRUE(logHas("control command stop mode=hold"));
}

TEST_F(ControlScenarioTest, InToggleModeOnlyThePressCountsAndToggleWorksInEveryMode) {
  send(ControlCommand::start);
  EXPECT_EQ(rig.state(), State::listening);
  send(ControlCommand::stop); // a release: ignored in toggle mode
  EXPECT_EQ(rig.state(), State::listening);
  send(ControlCommand::start);
  EXPECT_EQ(rig.state(), State::transcribing);
  rig.task().final("");
  rig.settle();
  ASSERT_EQ(rig.state(), State::idle);

  rig.setMode(TriggerMode::hold); // toggle starts and finishes without a release to wait for
  send(ControlCommand::toggle);
  EXPECT_EQ(rig.state(), State::listening);
  send(ControlCommand::toggle);
  EXPECT_EQ(rig.state(), State::transcribing);
}

TEST_F(ControlScenarioTest, CancelTwiceDiscardsAndCancelWhileIdleDoesNothing) {
  send(ControlCommand::cancel);
  EXPECT_FALSE(logHas("armed to discard"));
  EXPECT_FALSE(rig.pillVisible());

  rig.startSpeaking();
  rig.task().partial("never mind");
  send(ControlCommand::cancel);
  EXPECT_EQ(rig.pillState(), "Discard?");
  rig.env.queue.advance(0.2); // past the repeat filter
  send(ControlCommand::cancel);
  EXPECT_TRUE(logHas("cancel key pressed twice: discarding the utterance"));
  rig.env.queue.advance(12);
  EXPECT_FALSE(rig.pasted());
  EXPECT_FALSE(History::mostRecentText());
}

// On a desktop without a tray this is how a bound key pastes the last dictation again.
TEST_F(ControlScenarioTest, PasteLastPastesTheNewestDictationAgain) {
  send(ControlCommand::pasteLast);
  EXPECT_FALSE(rig.pasted());
  rig.setMode(TriggerMode::hold);
  send(ControlCommand::start);
  rig.speak(5);
  send(ControlCommand::stop);
  rig.task().final("the report is ready");
  rig.settle();
  ASSERT_EQ(rig.pastes.size(), 1u);
  send(ControlCommand::pasteLast);
  rig.settle();
  EXPECT_EQ(rig.pastes, (std::vector<std::string>{"The report is ready", "The report is ready"}));
}

} // namespace
} // namespace selvar::testing
