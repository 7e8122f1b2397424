#include "benchmark/WordErrorRate.h"

#include "text/Characters.h"

#include <algorithm>
#include <numeric>
#include <string_view>
#include <unordered_map>

namespace selvar::WordErrorRate {

std::vector<std::string> normalize(std::string_view text) {
  std::vector<std::string> words;
  std::string word;
  for (const Character &c : characters(lowercased(text))) {
    if (c.isLetter() || c.isNumber()) {
      word += c.text;
    } else if (!word.empty()) {
      words.push_back(std::move(word));
      word.clear();
    }
  }
  if (!word.empty()) words.push_back(std::move(word));
  return words;
}

namespace {

// The words as numbers, equal numbers for equal words, so the distance compares integers.
std::pair<std::vector<std::size_t>, std::vector<std::size_t>>
numbered(const std::vector<std::string> &a, const std::vector<std::string> &b) {
  std::unordered_map<std::string_view, std::size_t> ids;
  auto number = [&](const std::vector<std::string> &words) {
    std::vector<std::size_t> out;
    out.reserve(words.size());
    for (const auto &w : words)
      out.push_back(ids.try_emplace(w, ids.size()).first->second);
    return out;
  };
  auto first = number(a);
  return {std::move(first), number(b)};
}

} // namespace

std::size_t wordErrors(const std::vector<std::string> &reference,
                       const std::vector<std::string> &hypothesis) {
  auto [ref, hyp] = numbered(reference, hypothesis);
  // row[j]: errors between the reference read so far and the first j hypothesis words.
  std::vector<std::size_t> row(hyp.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 1; i <= ref.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= hyp.size(); ++j) {
      std::size_t substitution = diagonal + (ref[i - 1] == hyp[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, substitution});
    }
  }
  return row.back();
}

std::optional<double> score(std::string_view reference, std::string_view hypothesis) {
  auto ref = normalize(reference);
  if (ref.empty()) return std::nullopt;
  double rate =
      static_cast<double>(wordErrors(ref, normalize(hypothesis))) / static_cast<double>(ref.size());
  return std::min(rate, 1.0);
}

} // namespace selvar::WordErrorRate
