#include "text/Characters.h"

#include <gtest/gtest.h>

namespace selvar {
namespace {

TEST(CharactersTest, SplitsIntoUserPerceivedCharacters) {
  struct Case {
    const char *text;
    std::size_t count;
  } cases[] = {
      {"", 0},
      {"abc", 3},
      {"e\u0301\u00e9", 2},             // decomposed and precomposed é
      {"👍🏽👨‍👩‍👧", 2}, // skin tone, family sequence
      {"🇫🇷🇩🇪", 2},                       // flags
      {"a\r\nb", 3},                     // CR LF is one character
      {"日本語", 3},
      {"a\xff"
       "b",
       3}, // an invalid byte becomes U+FFFD
  };
  for (const auto &c : cases)
    EXPECT_EQ(characters(c.text).size(), c.count) << c.text;
  EXPECT_EQ(characters("a\xff").back().text, "\uFFFD");
  EXPECT_EQ(joined(characters("👍🏽 ok")), "👍🏽 ok");
}

TEST(CharactersTest, PropertiesComeFromTheFirstScalar) {
  struct Case {
    const char *text;
    bool letter, number, lower, space;
  } cases[] = {
      {"a", true, false, true, false},          {"É", true, false, false, false},
      {"e\u0301", true, false, true, false},    {"ß", true, false, true, false},
      {"語", true, false, false, false},        {"٣", false, true, false, false},
      {"½", false, true, false, false},         {"7", false, true, false, false},
      {"\u00a0", false, false, false, true},    {"\u3000", false, false, false, true},
      {"👍🏽", false, false, false, false}, {"-", false, false, false, false},
  };
  for (const auto &c : cases) {
    Character ch = characters(c.text).front();
    EXPECT_EQ(ch.isLetter(), c.letter) << c.text;
    EXPECT_EQ(ch.isNumber(), c.number) << c.text;
    EXPECT_EQ(ch.isLowercase(), c.lower) << c.text;
    EXPECT_EQ(ch.isWhitespace(), c.space) << c.text;
  }
}

TEST(CharactersTest, FullCaseMappingWithoutALanguage) {
  EXPECT_EQ(uppercased("straße"), "STRASSE");
  EXPECT_EQ(uppercased("istanbul ıi"), "ISTANBUL II");
  EXPECT_EQ(lowercased("İSTANBUL"), "i\u0307stanbul");
  EXPECT_EQ(lowercased("ΣΟΦΌΣ"), "σοφός"); // final sigma
  EXPECT_EQ(uppercased("ǆ"), "Ǆ");
}

} // namespace
} // namespace selvar
