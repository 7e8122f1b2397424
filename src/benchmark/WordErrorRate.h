#pragma once
// Word error rate of a transcript against a reference, after lower-casing and splitting at
// everything that is neither a letter nor a number.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace selvar::WordErrorRate {

// The words scored: "Hello, World!" → hello, world; "don't" → don, t.
std::vector<std::string> normalize(std::string_view text);
// Word-level edit distance (insertions, deletions and substitutions cost one each).
std::size_t wordErrors(const std::vector<std::string> &reference,
                       const std::vector<std::string> &hypothesis);
// Errors per reference word, capped at 1.0; nothing when the reference has no words.
std::optional<double> score(std::string_view reference, std::string_view hypothesis);

} // namespace selvar::WordErrorRate
