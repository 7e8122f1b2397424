// The clean-up must stay far below what a user could notice after speaking: one utterance with
// every option on and a full dictionary well under a millisecond.

#include "benchmark/WordErrorRate.h"
#include "platform/fake/FakeEnvironment.h"
#include "text/TextPipeline.h"

#include <benchmark/benchmark.h>
#include <random>

namespace selvar {
namespace {

// About 300 characters of the kind a dictation produces, spoken punctuation included.
constexpr const char *kUtterance =
    "um, so I was thinking comma we should probably ask jason about the cube control config "
    "period new line uh he said the deploy is at 10:30 and costs 3.50 dollars.Next time we "
    "go i think we should bring 50 percent more bags full stop it works. thank you";

std::vector<DictionaryRule> fiftyRules() {
  std::vector<DictionaryRule> rules{
      {"cube control", "kubectl", false},
      {"jason", "JSON", false},
      {"(\\d+) percent", "$1%", true},
      {"post gress", "Postgres", false},
      {"git hub", "GitHub", false},
      {"\\bmy sequel\\b", "MySQL", true},
      {"selvar", "Selvar", false},
      {"(\\d+) euros", "€$1", true},
      {"a.m.", "AM", false},
      {"p.m.", "PM", false},
  };
  for (int i = 0; rules.size() < 50; ++i)
    rules.push_back(
        {"custom phrase " + std::to_string(i), "Replacement " + std::to_string(i), i % 5 == 0});
  return rules;
}

TextPipeline::Options allOn() {
  return {true, true, true, true, fiftyRules()};
}

std::string longText() {
  std::string text;
  while (text.size() < 10'000)
    text += std::string(kUtterance) + " ";
  return text.substr(0, 10'000);
}

void BM_ProcessUtterance(benchmark::State &state) {
  FakeEnvironment env;
  auto options = allOn();
  for (auto _ : state)
    benchmark::DoNotOptimize(TextPipeline::process(kUtterance, options));
}
BENCHMARK(BM_ProcessUtterance)->Unit(benchmark::kMicrosecond);

void BM_ProcessLongText(benchmark::State &state) {
  FakeEnvironment env;
  auto options = allOn();
  std::string text = longText();
  for (auto _ : state)
    benchmark::DoNotOptimize(TextPipeline::process(text, options));
}
BENCHMARK(BM_ProcessLongText)->Unit(benchmark::kMillisecond);

std::string randomWords(std::mt19937 &rng, int count) {
  static const char *vocabulary[] = {"the",  "quick", "brown", "fox",   "jumps", "over",
                                     "lazy", "dog",   "and",   "then",  "runs",  "away",
                                     "from", "a",     "big",   "green", "field", "today"};
  std::uniform_int_distribution<std::size_t> pick(0, std::size(vocabulary) - 1);
  std::string text;
  for (int i = 0; i < count; ++i)
    text += std::string(vocabulary[pick(rng)]) + " ";
  return text;
}

void BM_WordErrorRateThousandWords(benchmark::State &state) {
  std::mt19937 rng(7);
  std::string reference = randomWords(rng, 1000), hypothesis = randomWords(rng, 1000);
  for (auto _ : state)
    benchmark::DoNotOptimize(WordErrorRate::score(reference, hypothesis));
}
BENCHMARK(BM_WordErrorRateThousandWords)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace selvar
