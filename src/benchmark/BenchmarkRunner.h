#pragma once
// Scores dictation engines over the same recordings and ranks them: lowest mean word error
// rate first, then the faster one, then by name.

#include <optional>
#include <string>
#include <vector>

namespace selvar {

struct BenchmarkResult {
  std::string modelName;
  double wer = 0;            // mean word error rate, 0…1
  double realtimeFactor = 0; // processing time ÷ audio time; smaller is faster
  int sampleCount = 0;       // samples that were scored
  friend bool operator==(const BenchmarkResult &, const BenchmarkResult &) = default;
};

struct BenchmarkSample {
  std::string reference;
  std::string hypothesis;
  double audioSeconds = 0;
};

struct ModelRun {
  std::string modelName;
  std::vector<BenchmarkSample> samples;
  double processingSeconds = 0;
};

struct BenchmarkRunner {
  std::vector<std::string> prompts; // the reference texts offered for recording

  // Nothing when no sample's reference has words.
  static std::optional<BenchmarkResult> score(const std::string &modelName,
                                              const std::vector<BenchmarkSample> &samples,
                                              double processingSeconds);
  // The hypotheses and audio lengths of recordings of `prompts`, in prompt order; lists of
  // unequal length are paired up to the shortest.
  std::optional<BenchmarkResult> score(const std::string &modelName,
                                       const std::vector<std::string> &hypotheses,
                                       const std::vector<double> &audioSeconds,
                                       double processingSeconds) const;
  static std::vector<BenchmarkResult> rank(const std::vector<ModelRun> &runs);
};

} // namespace selvar
