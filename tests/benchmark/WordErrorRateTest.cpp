#include "benchmark/WordErrorRate.h"

#include "benchmark/BenchmarkRunner.h"

#include <cmath>
#include <gtest/gtest.h>

namespace selvar {
namespace {

using Words = std::vector<std::string>;

TEST(WordErrorRateTest, NormalizeSplitsAtEverythingButLettersAndNumbers) {
  struct Case {
    const char *text;
    Words words;
  } cases[] = {
      {"Hello, World!", {"hello", "world"}},
      {"don't", {"don", "t"}},
      {"well-known 3.14", {"well", "known", "3", "14"}},
      {"  \n\t ", {}},
      {"ÉCOLE Straße", {"école", "straße"}},
      {"e\u0301te\u0301", {"e\u0301te\u0301"}}, // combining accents stay with their letters
      {"İstanbul", {"i\u0307stanbul"}},
      {"thumbs👍🏽up", {"thumbs", "up"}},
      {"東京タワー です", {"東京タワー", "です"}},
      {"٣ ½", {"٣", "½"}},
  };
  for (const auto &c : cases)
    EXPECT_EQ(WordErrorRate::normalize(c.text), c.words) << c.text;
}

TEST(WordErrorRateTest, WordErrorsIsTheEditDistanceOverWords) {
  struct Case {
    Words ref, hyp;
    std::size_t errors;
  } cases[] = {
      {{}, {}, 0},
      {{}, {"a", "b"}, 2},
      {{"a", "b", "c"}, {}, 3},
      {{"a", "b", "c"}, {"a", "b", "c"}, 0},
      {{"a", "b", "c"}, {"a", "x", "c"}, 1},
      {{"a", "b", "c"}, {"b", "c", "d"}, 2},
      {{"kitten", "sat"}, {"sitting", "sat", "down"}, 2},
      {{"a", "b", "c", "d"}, {"d", "c", "b", "a"}, 4},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(WordErrorRate::wordErrors(c.ref, c.hyp), c.errors);
    EXPECT_EQ(WordErrorRate::wordErrors(c.hyp, c.ref), c.errors); // symmetric costs
  }
}

TEST(WordErrorRateTest, ScoreIsCappedAndNeedsReferenceWords) {
  EXPECT_DOUBLE_EQ(*WordErrorRate::score("one two three", "one two three four five six"), 1.0);
  EXPECT_DOUBLE_EQ(*WordErrorRate::score("one two three", "one two four"), 1.0 / 3);
  EXPECT_DOUBLE_EQ(*WordErrorRate::score("one two three", "one two three a b c d"), 1.0);
  EXPECT_DOUBLE_EQ(*WordErrorRate::score("One, two; THREE!", "one two three"), 0.0);
  EXPECT_FALSE(WordErrorRate::score("?!, ...", "anything"));
  EXPECT_FALSE(WordErrorRate::score("", ""));
}

TEST(BenchmarkRunnerTest, ScoreAveragesScoredSamplesAndCountsAllAudio) {
  auto result = BenchmarkRunner::score(
      "m", {{"one two", "one two", 2}, {"a b c", "a x c", 3}, {"...", "x", 5}, {"x", "x", -4}}, 5);
  ASSERT_TRUE(result);
  EXPECT_DOUBLE_EQ(result->wer, (0 + 1.0 / 3 + 0) / 3);
  EXPECT_EQ(result->sampleCount, 3);
  EXPECT_DOUBLE_EQ(result->realtimeFactor, 0.5); // 5 s over 2 + 3 + 5 s; negative counts as 0

  EXPECT_DOUBLE_EQ(BenchmarkRunner::score("m", {{"a", "a", 0}}, 3)->realtimeFactor, 0);
  EXPECT_DOUBLE_EQ(BenchmarkRunner::score("m", {{"a", "a", 2}}, -1)->realtimeFactor, 0);
  EXPECT_DOUBLE_EQ(BenchmarkRunner::score("m", {{"a", "a", 2}}, std::nan(""))->realtimeFactor, 0);
  EXPECT_FALSE(BenchmarkRunner::score("m", {{"", "a", 2}, {"!", "b", 1}}, 1));
  EXPECT_FALSE(BenchmarkRunner::score("m", {}, 1));
}

TEST(BenchmarkRunnerTest, ScoreAgainstPromptsPairsUpToTheShortestList) {
  BenchmarkRunner runner{{"one two", "three four", "five"}};
  auto result = runner.score("m", {"one two", "three"}, {1, 1, 1}, 1);
  ASSERT_TRUE(result);
  EXPECT_EQ(result->sampleCount, 2);
  EXPECT_DOUBLE_EQ(result->wer, 0.25);
  EXPECT_DOUBLE_EQ(result->realtimeFactor, 0.5);
}

TEST(BenchmarkRunnerTest, RankOrdersByErrorThenSpeedThenNameAndDropsUnscored) {
  auto run = [](std::string name, const char *hypothesis, double processing) {
    return ModelRun{std::move(name), {{"a b c d", hypothesis, 10}}, processing};
  };
  auto ranked = BenchmarkRunner::rank({
      run("slow-perfect", "a b c d", 8), run("worse", "a b x x", 1), run("zeta", "a b c x", 2),
      run("alpha", "a b c x", 2), run("fast-perfect", "a b c d", 4),
      ModelRun{"silent", {{"...", "x", 3}}, 1},
      ModelRun{"fast-perfect", {{"a b", "a b", 5}, {"c d", "c d", 5}}, 4}, // a complete tie
  });
  std::vector<std::string> names;
  for (const auto &r : ranked)
    names.push_back(r.modelName);
  EXPECT_EQ(names,
            (Words{"fast-perfect", "fast-perfect", "slow-perfect", "alpha", "zeta", "worse"}));
  EXPECT_EQ(ranked[0], (BenchmarkResult{"fast-perfect", 0, 0.4, 1}));
  EXPECT_EQ(ranked[1], (BenchmarkResult{"fast-perfect", 0, 0.4, 2})); // keeps its input place
}

} // namespace
} // namespace selvar
