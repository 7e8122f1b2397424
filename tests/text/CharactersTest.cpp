#include "text/Characters.h"

#include <gtest/gtest.h>

namespace selvar {
namespace {

std::vector<std::string> pieces(std::string_view text) {
  std::vector<std::string> out;
  for (const auto &c : characters(text))
    out.push_back(c.text);
  return out;
}

TEST(CharactersTest, SplitsIntoUserPerceivedCharacters) {
  using P = std::vector<std::string>;
  struct Case {
    const char *text;
    P expected;
  } cases[] = {
      {"", {}},
      {"ab", {"a", "b"}},
      {"ok\u0301!", {"o", "k\u0301", "!"}}, // a mark joins the ASCII letter before it
      {"e\u0301\u00e9", {"e\u0301", "\u00e9"}},
      {"1\uFE0F\u20E3x", {"1\uFE0F\u20E3", "x"}}, // keycap
      {"👍🏽👨‍👩‍👧", {"👍🏽", "👨‍👩‍👧"}},
      {"🇫🇷🇩🇪", {"🇫🇷", "🇩🇪"}},
      {"a\r\nb\n", {"a", "\r\n", "b", "\n"}},
      {"日本語", {"日", "本", "語"}},
      {"a\xff", {"a", "\uFFFD"}},
  };
  for (const auto &c : cases)
    EXPECT_EQ(pieces(c.text), c.expected) << c.text;
}

TEST(CharactersTest, PropertiesComeFromTheFirstScalar) {
  auto c = characters("e\u0301ß٣\u3000👍🏽");
  EXPECT_TRUE(c[0].isLetter() && c[0].isLowercase());
  EXPECT_TRUE(c[1].isLowercase());
  EXPECT_TRUE(c[2].isNumber() && !c[2].isLetter());
  EXPECT_TRUE(c[3].isWhitespace());
  EXPECT_FALSE(c[4].isLetter() || c[4].isNumber() || c[4].isWhitespace());
  EXPECT_EQ(uppercased("straße ıi"), "STRASSE II"); // full mappings, no language
  EXPECT_EQ(lowercased("İ"), "i\u0307");
}

} // namespace
} // namespace selvar
