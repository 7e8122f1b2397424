#include "hotkeys/DictationConflict.h"

#include "platform/fake/FakeEnvironment.h"
#include "support/ShellFakes.h"

#include <gtest/gtest.h>

namespace selvar {
namespace {

class DictationConflictTest : public ::testing::Test {
protected:
  void SetUp() override { services().workspace = &workspace; }
  void run(std::initializer_list<const char *> identifiers) {
    int pid = 100;
    for (const char *id : identifiers)
      workspace.running.push_back({pid++, id, id});
  }
  std::string names() { return DictationConflict::logLine(DictationConflict::running()); }

  FakeEnvironment env;
  shelltest::ScriptedWorkspace workspace;
};

TEST_F(DictationConflictTest, ReportsKnownAppsInTableOrderOnce) {
  struct Case {
    std::initializer_list<const char *> running;
    std::string line;
  } cases[] = {
      {{}, ""},
      {{"com.apple.finder", ""}, ""},
      {{"ai.wispr.WisprFlow", "io.scribe.Scribe"},
       "other dictation app running: Scribe, Wispr Flow"},
      {{"com.voiceink.app", "com.voiceink.app"}, "other dictation app running: VoiceInk"},
      {{"IO.SCRIBE.SCRIBE", "Dsnote"}, ""},
      {{"dsnote", "com.goodsnooze.MacWhisper", "nerd-dictation"},
       "other dictation app running: MacWhisper, nerd-dictation, Speech Note"},
  };
  for (const auto &c : cases) {
    workspace.running.clear();
    run(c.running);
    EXPECT_EQ(names(), c.line);
  }
}

TEST_F(DictationConflictTest, WarningNamesEachAppWithTheFixedWording) {
  run({"io.scribe.Scribe"});
  EXPECT_EQ(DictationConflict::warningText(DictationConflict::running()),
            "Scribe is running and also listens for a keyboard hold. Pick a different trigger, "
            "or quit that app while testing.");
  EXPECT_EQ(DictationConflict::warningText({}), "");
}

} // namespace
} // namespace selvar
