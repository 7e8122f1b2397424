#include "platform/fake/FakeEnvironment.h"
#include "support/Unicode.h"
#include "text/TextPipeline.h"

#include <gtest/gtest.h>

namespace selvar {
namespace {

// Fillers, spoken punctuation, capitals, trailing period.
constexpr int F = 1, P = 2, C = 4, T = 8;

TextPipeline::Options options(int flags, std::vector<DictionaryRule> rules = {}) {
  return {(flags & F) != 0, (flags & P) != 0, (flags & C) != 0, (flags & T) != 0, std::move(rules)};
}

struct Case {
  const char *input;
  int flags;
  const char *expected;
};

TEST(TextPipelineProcessTest, WholeUtterances) {
  Case cases[] = {
      {"um, so uh I think hmm", F, "so I think hmm"},
      {"hello comma world period new line next", P | C, "Hello, world.\nNext"},
      {"i think i'm ready", C, "I think i'm ready"},
      {"so i said i would", C, "So I said I would"},
      {"Great talk. Thank you.", T, "Great talk."},
      {"Thank you.", T, "Thank you."},
      {"Yes. Yes. Yes. Okay.", 0, "Yes. Okay."},
      {"done", T, "done."},
      {"Really?", T, "Really?"},
      {"Well\u2026", T, "Well\u2026"},
      {"first new line", P | T, "first."}, // the line feed is trimmed before the period
      {"um, uh, hmm", F | C | T, "Hmm."},
      {"question mark", P | T, ""},
      {"wait dash what", P, "wait \u2014 what"},
      {"ok.i think so", C, "Ok. I think so"}, // the final spacing pass sees the new capital
      {"élan vital. ça va new paragraph très bien", P | C | T, "Élan vital. Ça va\n\nTrès bien."},
      {"東京 tokyo", C | T, "東京 tokyo."},
      {"👍🏽 nice 👍🏽 nice 👍🏽 nice", C, "👍🏽 nice"},
  };
  for (const auto &c : cases)
    EXPECT_EQ(TextPipeline::process(c.input, options(c.flags)), c.expected) << c.input;
}

TEST(TextPipelineProcessTest, NothingButWhiteSpaceAndPunctuationIsEmpty) {
  for (const char *input :
       {"", "   ", "...", " , ", "\n\t", "?!\u2026", "-\u2014-", " full stop new line "})
    for (int flags : {P, F | P | C | T})
      EXPECT_EQ(TextPipeline::process(input, options(flags)), "") << input << " flags " << flags;
}

TEST(TextPipelineProcessTest, InvalidUtf8BecomesReplacementCharacters) {
  std::string out = TextPipeline::process("caf\xc3 ok\xff", options(C | T));
  EXPECT_TRUE(isValidUtf8(out));
  EXPECT_EQ(out, "Caf\uFFFD ok\uFFFD.");
}

class TextPipelineRulesTest : public ::testing::Test {
protected:
  FakeEnvironment env;
};

TEST_F(TextPipelineRulesTest, StepsRunInTheirOrder) {
  struct OrderCase {
    const char *input;
    int flags;
    DictionaryRule rule;
    const char *expected;
  } cases[] = {
      // fillers go before the rules
      {"um, hello", F, {"um", "UMBRELLA", false}, "hello"},
      {"um, hello", 0, {"um", "UMBRELLA", false}, "UMBRELLA, hello"},
      // spoken punctuation goes before the rules
      {"a comma b", P, {"comma", "COMMA", false}, "a, b"},
      // rules go before tidy
      {"x", 0, {"x", "a  ,b", false}, "a, b"},
      // rules go before the sign-off check
      {"All done. ciao", 0, {"ciao$", "bye", true}, "All done."},
      // the sign-off check goes before the repeat check
      {"Yes. Yes. Yes. Thanks.", 0, {"zzz", "", false}, "Yes."},
      // capitals go after the rules
      {"new york. big apple", C, {"big apple", "the city", false}, "New york. The city"},
      // the trailing period comes last
      {"send it", T, {"send it", "Send it!", false}, "Send it!"},
  };
  for (const auto &c : cases)
    EXPECT_EQ(TextPipeline::process(c.input, options(c.flags, {c.rule})), c.expected) << c.input;
}

TEST_F(TextPipelineRulesTest, RulesApplyInFileOrderAndBadOnesAreSkipped) {
  std::vector<DictionaryRule> rules{
      {"cube control", "kubectl", false}, {"kubectl", "`kubectl`", false},
      {"(unbalanced", "x", true},         {"", "never", false},
      {"(\\d+) percent", "$1%", true},
  };
  EXPECT_EQ(TextPipeline::process("Cube control says 50 percent", options(0, rules)),
            "`kubectl` says 50%");
}

} // namespace
} // namespace selvar
