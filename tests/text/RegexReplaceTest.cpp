#include "text/RegexReplace.h"

#include <gtest/gtest.h>

namespace selvar {
namespace {

std::string replace(std::string_view pattern, std::string_view text, std::string_view tmpl) {
  auto compiled = RegexReplace::compile(pattern);
  EXPECT_TRUE(compiled) << pattern;
  if (!compiled) return {};
  auto result = RegexReplace::replaceAll(*compiled, text, tmpl);
  EXPECT_TRUE(result.text) << pattern;
  return result.text.value_or("");
}

TEST(RegexReplaceTest, TemplateExpansion) {
  struct Case {
    const char *tmpl;
    const char *expected;
  } cases[] = {
      {"$0", "abc"},      {"$3$2$1", "cba"},
      {"$12", "a2"}, // digits are read only while they name a group
      {"$4", ""},    // beyond the count: nothing
      {"$45", "5"},  // … and only the first digit is taken
      {"$01", "a"},  // 01 still names group 1
      {"$", "$"},    // a bare dollar sign is literal
      {"x$", "x$"},       {"$a", "$a"},
      {"$$1", "$a"},      {"${1}", "${1}"}, // no named-group syntax
      {"\\$1", "$1"},                       // a backslash makes the next character literal
      {"\\\\$1", "\\a"},  {"\\n", "n"},
      {"end\\", "end\\"}, // a trailing backslash is kept
      {"\\😀$2", "😀b"},    // escaping works on whole scalars
      {"«$1»", "«a»"},
  };
  for (const auto &c : cases)
    EXPECT_EQ(replace("(a)(b)(c)", "abc", c.tmpl), c.expected) << c.tmpl;
}

TEST(RegexReplaceTest, GroupsBeyondNineAndGroupsThatDidNotTakePart) {
  EXPECT_EQ(replace("(a)(b)(c)(d)(e)(f)(g)(h)(i)(j)(k)(l)", "abcdefghijkl", "$12$10$1"), "lja");
  EXPECT_EQ(replace("(a)|(b)", "b", "[$1|$2]"), "[|b]");
}

TEST(RegexReplaceTest, ReplacesEveryMatchIncludingEmptyOnes) {
  EXPECT_EQ(replace("o", "foo boo", "0"), "f00 b00");
  EXPECT_EQ(replace("x*", "a😀b", "-"), "-a-😀-b-");
  EXPECT_EQ(replace("(?i)straße", "STRASSE straße", "road"), "road road");
  EXPECT_EQ(replace("nothing", "kept as is", "x"), "kept as is");
}

TEST(RegexReplaceTest, EscapedLiteralsMatchAndInsertThemselves) {
  const std::string literal = "a.b*c+d?e(f)[g]{h}^i$j|k\\l/m-n#o !\"%&',:;<=>@_`~ ü";
  auto pattern = RegexReplace::compile("^" + RegexReplace::escapedPattern(literal) + "$");
  ASSERT_TRUE(pattern);
  auto result = RegexReplace::replaceAll(*pattern, literal, RegexReplace::escapedTemplate(literal));
  EXPECT_EQ(result.text, literal);
  EXPECT_EQ(replace(RegexReplace::escapedPattern("a.m."), "axmx a.m.", "AM"), "axmx AM");
}

TEST(RegexReplaceTest, CatastrophicPatternStopsWithinItsBudget) {
  auto pattern = RegexReplace::compile("(a+)+$");
  ASSERT_TRUE(pattern);
  auto result =
      RegexReplace::replaceAll(*pattern, std::string(60, 'a') + "b", "x", RegexReplace::Budget{5});
  EXPECT_FALSE(result.text);
  EXPECT_TRUE(result.timedOut);
}

TEST(RegexReplaceTest, CompileFailureSaysWhy) {
  std::string why;
  EXPECT_FALSE(RegexReplace::compile("(unbalanced", 0, &why));
  EXPECT_NE(why.find("U_REGEX"), std::string::npos) << why;
}

} // namespace
} // namespace selvar
