#include "dictation/DictationError.h"
#include "dictation/TranscriptJoin.h"
#include "dictation/TranscriptResolver.h"

#include <gtest/gtest.h>

namespace selvar {
namespace {

TEST(TranscriptResolverTest, FinalLosesOnlyWhenItDroppedMoreThanAThird) {
  struct Case {
    const char *final, *partial, *expected;
  } cases[] = {
      {"short", "twenty characters ok", "twenty characters ok"}, // 5 < 40/3
      {"ten chars!", "fifteen chars!!", "ten chars!"},           // 10 == 30/3: final
      {"nine char", "fifteen chars!!", "fifteen chars!!"},       // 9 < 10
      {"  final  ", "", "final"},
      {"", "\n partial \t", "partial"},
      {"", "", ""},
      // Characters, not bytes: four accented letters against six plain ones keep the final.
      {"\u00e9\u00e9\u00e9\u00e9", "abcdef", "\u00e9\u00e9\u00e9\u00e9"},
  };
  for (const auto &c : cases)
    EXPECT_EQ(TranscriptResolver::resolve(c.final, c.partial), c.expected)
        << c.final << " / " << c.partial;
}

TEST(TranscriptJoinTest, ContinuationsJoinWithOneSpaceAndFixMidSentenceCapitals) {
  struct Case {
    const char *prefix, *text, *expected;
  } cases[] = {
      {"I went home", "Then slept", "I went home then slept"},
      {"I went home.", "Then slept", "I went home. Then slept"},
      {"Really?", "Yes", "Really? Yes"},
      {"Wait!", "No", "Wait! No"},
      {"and so\u2026", "On we go", "and so\u2026 On we go"},
      {"we met", "NASA engineers", "we met NASA engineers"},
      {"then", "I left", "then I left"},
      {"then", "I'm gone", "then I'm gone"},
      {"then", "I\u2019ll go", "then I\u2019ll go"},
      {"then", "I", "then I"},
      {"then", "Ice cream", "then ice cream"},
      {"ask", "\u00c9mile", "ask \u00e9mile"},
      {"call", "42 times", "call 42 times"},
      {"", "Hello", "Hello"},
      {"Held text", "", "Held text"},
  };
  for (const auto &c : cases)
    EXPECT_EQ(joinContinued(c.prefix, c.text), c.expected) << c.prefix << " + " << c.text;
}

TEST(ShortReasonTest, KnownCodesReadAsWords) {
  EXPECT_EQ(shortReason(std::nullopt), "try again");
  EXPECT_EQ(shortReason(DictationError{203, ""}), "no speech heard");
  EXPECT_EQ(shortReason(DictationError{1101, ""}), "no speech heard");
  EXPECT_EQ(shortReason(DictationError{1107, ""}), "on-device speech is off");
  EXPECT_EQ(shortReason(DictationError{1110, ""}), "model still loading");
  EXPECT_EQ(shortReason(DictationError{-1004, ""}), "code -1004");
}

} // namespace
} // namespace selvar
