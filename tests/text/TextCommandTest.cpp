#include "text/TextCommand.h"

#include "app/Prefs.h"
#include "platform/fake/FakeEnvironment.h"
#include "support/Unicode.h"
#include "text/DictionaryStore.h"

#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>

namespace selvar {
namespace {

class TextCommandTest : public ::testing::Test {
protected:
  FakeEnvironment env;
  bool inputRead = false;

  TextCommandResult run(std::vector<std::string> args, std::string input = "") {
    return runTextCommand(args, [&, input] {
      inputRead = true;
      return input;
    });
  }
  std::string file(const std::string &name, const std::string &contents) {
    auto path = env.root() / name;
    std::ofstream(path, std::ios::binary) << contents;
    return path.string();
  }
  static std::string rulesJson(const std::string &heard, const std::string &replace,
                               bool isRegex = false) {
    return DictionaryCoding::encode({{heard, replace, isRegex}});
  }
};

TEST_F(TextCommandTest, CleansUpWithThePreferencesUnlessFlagsOverrideThem) {
  struct Case {
    std::vector<std::string> args;
    const char *input, *expected;
  } cases[] = {
      {{}, "um, hello comma world", "Hello comma world\n"}, // fillers and capitals by default
      {{"--capitalize", "off", "--fillers=off"}, "um, hello", "um, hello\n"},
      {{"--spoken-punctuation", "on", "--trailing-period", "on"}, "hi comma you", "Hi, you.\n"},
      {{"--capitalize", "on", "--capitalize", "off"}, "last wins", "last wins\n"},
      {{}, "élan. ça va. 👍🏽", "Élan. Ça va. 👍🏽\n"},
      {{}, "  \n ", "\n"},
  };
  for (const auto &c : cases) {
    auto result = run(c.args, c.input);
    EXPECT_EQ(result.exitCode, 0) << c.input;
    EXPECT_EQ(result.out, c.expected) << c.input;
    EXPECT_EQ(result.err, "") << c.input;
  }
  env.settings.setValue(PrefKey::spokenPunctuation, true);
  env.settings.setValue(PrefKey::autoCapitalize, false);
  EXPECT_EQ(run({}, "hello comma world").out, "hello, world\n");
}

TEST_F(TextCommandTest, UsesTheDictionaryFileOrTheOneGiven) {
  std::ofstream(DictionaryStore::fileURL()) << rulesJson("cube control", "kubectl");
  EXPECT_EQ(run({}, "cube control rocks").out, "Kubectl rocks\n");
  auto other = file("other.json", rulesJson("rocks", "rules"));
  EXPECT_EQ(run({"--rules", other}, "cube control rocks").out, "Cube control rules\n");
}

TEST_F(TextCommandTest, InvalidUtf8InputStillGivesValidOutput) {
  auto result = run({}, "caf\xc3 \xff ok");
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_TRUE(isValidUtf8(result.out));
}

TEST_F(TextCommandTest, BadUseFailsWithOneLineOnStandardError) {
  auto broken = file("broken.json", R"({"rules": [{"heard": "a", "replace": "b"}]})");
  auto missing = (env.root() / "missing.json").string();
  struct Case {
    std::vector<std::string> args;
    int exitCode;
    const char *mentions;
  } cases[] = {
      {{"--bogus"}, 2, "unknown option '--bogus'"},
      {{"words"}, 2, "unexpected argument 'words'"},
      {{"--fillers"}, 2, "--fillers needs on or off"},
      {{"--capitalize", "yes"}, 2, "--capitalize takes on or off, not 'yes'"},
      {{"--trailing-period="}, 2, "takes on or off"},
      {{"--rules"}, 2, "--rules needs a file"},
      {{"--wer", "one"}, 2, "--wer needs a reference file and a hypothesis file"},
      {{"--wer", broken, broken, "--fillers", "on"}, 2, "--wer takes no other options"},
      {{"--rules", missing}, 1, "cannot read"},
      {{"--rules", env.root().string()}, 1, "is a folder"},
      {{"--rules", broken}, 1, "does not decode: rule 1 lacks \"isRegex\""},
      {{"--wer", missing, broken}, 1, "missing.json: No such file or directory"},
  };
  for (const auto &c : cases) {
    inputRead = false;
    auto result = run(c.args, "text");
    EXPECT_EQ(result.exitCode, c.exitCode) << c.mentions;
    EXPECT_EQ(result.out, "") << c.mentions;
    EXPECT_TRUE(result.err.starts_with("selvar-text: ")) << result.err;
    EXPECT_NE(result.err.find(c.mentions), std::string::npos) << result.err;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    EXPECT_FALSE(inputRead) << c.mentions;
  }
}

TEST_F(TextCommandTest, DictionaryFileThatDoesNotDecodeFailsAndIsKept) {
  const std::string text = R"({"rules": [{"heard": 7, "replace": "b", "isRegex": false}]})";
  std::ofstream(DictionaryStore::fileURL()) << text;
  auto result = run({}, "text");
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_NE(result.err.find("does not decode"), std::string::npos);
  std::ifstream in(DictionaryStore::fileURL());
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), text);
}

TEST_F(TextCommandTest, WarnsAboutRulesThatAreLeftOut) {
  auto rules = file("rules.json",
                    DictionaryCoding::encode(
                        {{"(b+)+$", "x", true}, {"(oops", "x", true}, {"kept", "KEPT", false}}));
  auto result =
      run({"--rules", rules, "--capitalize", "off"}, "kept " + std::string(40, 'b') + "c");
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.out, "KEPT " + std::string(40, 'b') + "c\n");
  EXPECT_NE(result.err.find("rule 2 left out, its pattern does not compile"), std::string::npos)
      << result.err;
  EXPECT_NE(result.err.find("rule timed out, left out: (b+)+$"), std::string::npos) << result.err;
}

TEST_F(TextCommandTest, WordErrorRate) {
  auto ref = file("ref.txt", "The cat sat."), hyp = file("hyp.txt", "the cat sat down"),
       other = file("other.txt", "a dog sat"), empty = file("empty.txt", " ... ");
  EXPECT_EQ(run({"--wer", ref, hyp}).out, "0.3333\n");
  EXPECT_EQ(run({"--wer", ref, other}).out, "0.6667\n");
  EXPECT_EQ(run({"--wer", ref, ref}).out, "0.0000\n");
  EXPECT_EQ(run({"--wer", ref, empty}).out, "1.0000\n");
  auto none = run({"--wer", empty, hyp});
  EXPECT_EQ(none.exitCode, 0);
  EXPECT_EQ(none.out, "the reference has no words\n");
  EXPECT_FALSE(inputRead);
}

TEST_F(TextCommandTest, HelpGoesToStandardOutput) {
  auto result = run({"--help"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_TRUE(result.out.starts_with("usage: selvar-text"));
}

} // namespace
} // namespace selvar
