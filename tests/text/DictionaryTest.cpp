#include "text/Dictionary.h"

#include "platform/fake/FakeEnvironment.h"
#include "records/Log.h"

#include <fstream>
#include <gtest/gtest.h>
#include <iterator>

namespace selvar {
namespace {

class DictionaryTest : public ::testing::Test {
protected:
  FakeEnvironment env;

  std::string logText() {
    Log::flush();
    std::ifstream in(env.files.dataRoot() / "logs" / "selvar.log");
    return {std::istreambuf_iterator<char>(in), {}};
  }
};

TEST_F(DictionaryTest, AppliesRules) {
  struct Case {
    DictionaryRule rule;
    const char *input, *expected;
  } cases[] = {
      {{"a.m.", "AM", false}, "at 10 a.m. sharp", "at 10 AM sharp"},
      {{"a.m.", "AM", false}, "axmx", "axmx"},   // the periods are literal
      {{"a.m.", "AM", false}, "a.m.x", "a.m.x"}, // a word character follows
      {{"price", "costs $1 \\o/", false}, "the price", "the costs $1 \\o/"},
      {{"(\\d+) percent", "$1%", true}, "50 percent of 7 PERCENT", "50% of 7%"},
      {{"jason", "JSON", false}, "Jason and JASON", "JSON and JSON"},
      {{"café", "Café Noir", false}, "CAFÉ, cafés and café", "Café Noir, cafés and Café Noir"},
      {{"東京", "Tokyo", false}, "東京 タワー and 東京タワー", "Tokyo タワー and 東京タワー"},
      {{"c++", "C++", false}, "i like c++ a lot", "i like C++ a lot"},
      {{"(?<first>\\w+) (\\w+)", "$2 $1", true}, "hello world", "world hello"},
      {{"x", "$5 and $", true}, "x", " and $"}, // a group beyond the count inserts nothing
  };
  for (const auto &c : cases)
    EXPECT_EQ(Dictionary({c.rule}).apply(c.input), c.expected) << c.rule.heard << " | " << c.input;
}

TEST_F(DictionaryTest, RulesRunInOrderOnEachOthersOutput) {
  DictionaryRule foo{"foo", "bar", false}, bar{"bar", "baz", false};
  EXPECT_EQ(Dictionary({foo, bar}).apply("foo bar"), "baz baz");
  EXPECT_EQ(Dictionary({bar, foo}).apply("foo bar"), "bar baz");
}

TEST_F(DictionaryTest, BadRulesAreLeftOutAndTheRestApply) {
  Dictionary d({{"(unbalanced", "x", true}, {"", "y", false}, {"ok", "OK", false}});
  EXPECT_EQ(d.compiled().size(), 1u);
  EXPECT_EQ(d.apply("ok (unbalanced"), "OK (unbalanced");
}

TEST_F(DictionaryTest, RuleThatRunsOutOfTimeLeavesTheTextAndIsLoggedOnce) {
  auto compiled = Dictionary::compile({{"(a+)+$", "x", true}, {"b", "B", false}});
  const std::string text = std::string(40, 'a') + " b!";
  std::vector<Dictionary::Failure> failures;
  EXPECT_EQ(Dictionary::apply(compiled, text, &failures), std::string(40, 'a') + " B!");
  EXPECT_EQ(Dictionary::apply(compiled, text, &failures), std::string(40, 'a') + " B!");
  ASSERT_EQ(failures.size(), 2u); // reported on every text …
  std::string log = logText();
  const std::string line = "dictionary rule timed out, left out for this text: (a+)+$";
  ASSERT_NE(log.find(line), std::string::npos) << log;
  EXPECT_EQ(log.find(line), log.rfind(line)) << log; // … but logged once
  EXPECT_EQ(failures[0].heard, "(a+)+$");
  EXPECT_EQ(failures[0].why, "timed out");
}

TEST_F(DictionaryTest, LoadKeepsThePreviousRulesWhenTheFileCannotBeUsed) {
  Dictionary d({{"one", "1", false}});
  auto broken = env.root() / "broken.json";
  std::ofstream(broken) << R"({"rules": [{"heard": "one", "replace": "uno"}]})";
  EXPECT_EQ(d.load(broken).status, DictionaryRead::Status::undecodable);
  EXPECT_EQ(d.load(env.root() / "missing.json").status, DictionaryRead::Status::missing);
  EXPECT_EQ(d.apply("one"), "1");

  auto good = env.root() / "good.json";
  std::ofstream(good) << R"({"rules": [{"heard": "one", "replace": "uno", "isRegex": false}]})";
  EXPECT_TRUE(d.load(good).ok());
  EXPECT_EQ(d.apply("one"), "uno");
}

} // namespace
} // namespace selvar
