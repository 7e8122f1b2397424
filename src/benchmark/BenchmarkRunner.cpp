#include "benchmark/BenchmarkRunner.h"

#include "benchmark/WordErrorRate.h"

#include <algorithm>
#include <cmath>
#include <tuple>

namespace selvar {

namespace {

// Negative, infinite or undefined durations count as nothing.
double usableSeconds(double seconds) {
  return std::isfinite(seconds) && seconds > 0 ? seconds : 0;
}

} // namespace

std::optional<BenchmarkResult> BenchmarkRunner::score(const std::string &modelName,
                                                      const std::vector<BenchmarkSample> &samples,
                                                      double processingSeconds) {
  double werSum = 0, totalAudio = 0;
  int scored = 0;
  for (const auto &sample : samples) {
    totalAudio += usableSeconds(sample.audioSeconds);
    if (auto wer = WordErrorRate::score(sample.reference, sample.hypothesis)) {
      werSum += *wer;
      ++scored;
    }
  }
  if (scored == 0) return std::nullopt;
  double processing = usableSeconds(processingSeconds);
  double factor = totalAudio > 0 && std::isfinite(totalAudio) ? processing / totalAudio : 0;
  return BenchmarkResult{modelName, werSum / scored, factor, scored};
}

std::optional<BenchmarkResult> BenchmarkRunner::score(const std::string &modelName,
                                                      const std::vector<std::string> &hypotheses,
                                                      const std::vector<double> &audioSeconds,
                                                      double processingSeconds) const {
  std::size_t count = std::min({prompts.size(), hypotheses.size(), audioSeconds.size()});
  std::vector<BenchmarkSample> samples;
  samples.reserve(count);
  for (std::size_t i = 0; i < count; ++i)
    samples.push_back({prompts[i], hypotheses[i], audioSeconds[i]});
  return score(modelName, samples, processingSeconds);
}

std::vector<BenchmarkResult> BenchmarkRunner::rank(const std::vector<ModelRun> &runs) {
  std::vector<BenchmarkResult> results;
  for (const auto &run : runs)
    if (auto result = score(run.modelName, run.samples, run.processingSeconds))
      results.push_back(std::move(*result));
  std::stable_sort(results.begin(), results.end(), [](const auto &a, const auto &b) {
    return std::tie(a.wer, a.realtimeFactor, a.modelName) <
           std::tie(b.wer, b.realtimeFactor, b.modelName);
  });
  return results;
}

} // namespace selvar
