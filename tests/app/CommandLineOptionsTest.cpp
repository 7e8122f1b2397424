#include "app/CommandLineOptions.h"

#include <gtest/gtest.h>

namespace selvar {
namespace {

CommandLineOptions parse(std::vector<std::string> args) {
  args.insert(args.begin(), "/usr/bin/selvar");
  return CommandLineOptions::parse(args);
}

TEST(CommandLineOptionsTest, SwitchesAreFoundAnywhereAndTakeTheNextArgument) {
  auto o = parse({"-psn_0_1", "--hud-selftest", "--feedback-voice", "the fan is loud",
                  "--write-icon", "/tmp/icons", "--dictate-test", "2.5"});
  EXPECT_TRUE(o.hudSelftest);
  EXPECT_EQ(o.feedbackVoice, "the fan is loud");
  EXPECT_EQ(o.writeIcon, "/tmp/icons");
  EXPECT_EQ(o.dictateTest, 2.5);
  EXPECT_FALSE(o.feedback) << "--feedback-voice is not --feedback";
  EXPECT_FALSE(o.feedbackTest || o.hudPreview || o.settingsMore || o.retryFailed);
}

TEST(CommandLineOptionsTest, AValueIsTheVeryNextArgumentEvenWhenItLooksLikeASwitch) {
  auto o = parse({"--rewrite-test", "--hud-preview"});
  EXPECT_EQ(o.rewriteTest, "--hud-preview");
  EXPECT_TRUE(o.hudPreview);
}

TEST(CommandLineOptionsTest, MissingOrUnusableNumbersLeaveTheSwitchUnset) {
  struct Case {
    std::vector<std::string> args;
    std::optional<double> seconds;
  } cases[] = {
      {{"--dictate-test", "3"}, 3.0},
      {{"--dictate-test", "1e1"}, 10.0},
      {{"--dictate-test", "0"}, 0.0},
      {{"--dictate-test", "three"}, std::nullopt},
      {{"--dictate-test", "3s"}, std::nullopt},
      {{"--dictate-test", ""}, std::nullopt},
      {{"--dictate-test", "inf"}, std::nullopt},
      {{"--dictate-test", "nan"}, std::nullopt},
      {{"--dictate-test", "-2"}, std::nullopt},
      {{"--dictate-test"}, std::nullopt},
  };
  for (const auto &c : cases)
    EXPECT_EQ(parse(c.args).dictateTest, c.seconds) << (c.args.size() > 1 ? c.args[1] : "none");
  EXPECT_FALSE(parse({"--write-icon"}).writeIcon);
}

TEST(CommandLineOptionsTest, TheProgramNameIsNeverASwitch) {
  EXPECT_FALSE(CommandLineOptions::parse({"--hud-selftest"}).hudSelftest);
  EXPECT_FALSE(CommandLineOptions::parse({}).help);
}

TEST(CommandLineOptionsTest, HelpListsEverySwitchOnItsOwnLine) {
  std::string help = CommandLineOptions::helpText();
  for (const char *name :
       {"--feedback-test", "--feedback ", "--feedback-voice", "--write-icon", "--settings-more",
        "--rewrite-test", "--transcribe-file", "--server-dictate-test", "--dictate-test",
        "--hud-selftest", "--hud-preview", "--retry-failed", "--help"})
    EXPECT_NE(help.find(std::string("\n  ") + name), std::string::npos) << name;
}

TEST(CommandLineOptionsTest, HelpOrVersionAnswerBeforeAnythingStarts) {
  auto answer = [](std::vector<std::string> args) {
    args.insert(args.begin(), "selvar");
    return CommandLineOptions::parse(args).immediateAnswer();
  };
  EXPECT_EQ(answer({"--dictate-test", "3", "--help", "--version"}), CommandLineOptions::helpText());
  EXPECT_EQ(answer({"--version"}), std::string("selvar ") + SELVAR_VERSION + "\n");
  EXPECT_EQ(answer({"--dictate-test", "3"}), std::nullopt);
}

} // namespace
} // namespace selvar
