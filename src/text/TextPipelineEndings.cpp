// Clean-up of what speech models invent: sign-offs after silence and looped repeats.

#include "support/Unicode.h"
#include "text/TextPipeline.h"

#include <array>

namespace selvar::TextPipeline {

namespace {

// Tried in this order, so longer phrases win over their own tails; only one is stripped.
// The entry ending in "!" can never match (marks are trimmed first) and is kept all the same.
constexpr std::array<std::string_view, 15> kHallucinatedSignOffs{
    "thank you for watching",
    "thanks for watching",
    "thanks for watching!",
    "we'll be right back",
    "we will be right back",
    "please subscribe",
    "like and subscribe",
    "subtitles by the amara.org community",
    "subtitles by",
    "thank you very much",
    "thank you",
    "thanks",
    "you",
    "bye bye",
    "bye",
};

constexpr std::size_t kLongSentence = 40; // characters before a multi-word sign-off
constexpr int kLoopedRepeats = 3;

bool isSignOffEdge(const Character &c) {
  static constexpr std::array<std::string_view, 8> edges{".",      "!",  "?", "\u2026",
                                                         "\u2019", "\"", "'", " "};
  for (std::string_view e : edges)
    if (c.text == e) return true;
  return false;
}

bool endsWith(const Characters &text, const Characters &tail) {
  if (tail.size() > text.size()) return false;
  std::size_t offset = text.size() - tail.size();
  for (std::size_t i = 0; i < tail.size(); ++i)
    if (text[offset + i].text != tail[i].text) return false;
  return true;
}

bool endsTerminated(const Characters &chars) {
  const Character &last = chars.back();
  return last == "." || last == "!" || last == "?" || last.isLineFeed();
}

// The text before a sign-off that `core` ends with, when stripping it is right.
std::optional<std::string> beforeSignOff(const Characters &core, const Characters &lower,
                                         std::string_view phrase) {
  Characters tail = characters(phrase);
  if (!endsWith(lower, tail) || tail.size() > core.size()) return std::nullopt;
  std::size_t cut = core.size() - tail.size();
  if (cut > 0 && (core[cut - 1].isLetter() || core[cut - 1].isNumber())) return std::nullopt;
  return trimWhitespace(joined(core, 0, cut));
}

std::vector<std::string_view> words(std::string_view text) {
  std::vector<std::string_view> out;
  for (std::size_t start = 0; start < text.size();) {
    std::size_t end = text.find(' ', start);
    if (end == std::string_view::npos) end = text.size();
    if (end > start) out.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return out;
}

std::string joinedWords(const std::vector<std::string_view> &words, std::size_t begin,
                        std::size_t count) {
  std::string out;
  for (std::size_t i = begin; i < begin + count; ++i) {
    if (i > begin) out += ' ';
    out += words[i];
  }
  return out;
}

std::vector<std::string> sentences(std::string_view text) {
  std::vector<std::string> out;
  std::string current;
  for (const Character &c : characters(text)) {
    current += c.text;
    if (c == "." || c == "!" || c == "?" || c.isLineFeed())
      out.push_back(std::move(current)), current.clear();
  }
  if (!current.empty()) out.push_back(std::move(current));
  return out;
}

} // namespace

std::string stripTrailingHallucination(std::string_view text) {
  std::string trimmed = trimWhitespace(text);
  Characters chars = characters(trimmed);
  std::size_t begin = 0, end = chars.size();
  while (begin < end && isSignOffEdge(chars[begin]))
    ++begin;
  while (end > begin && isSignOffEdge(chars[end - 1]))
    --end;
  Characters core(chars.begin() + begin, chars.begin() + end);
  Characters lower = characters(lowercased(joined(core)));
  for (std::string_view phrase : kHallucinatedSignOffs) {
    auto rest = beforeSignOff(core, lower, phrase);
    if (!rest) continue;
    if (rest->empty()) return trimmed;
    Characters restChars = characters(*rest);
    bool multiWord = phrase.find(' ') != std::string_view::npos;
    if (endsTerminated(restChars) || (multiWord && restChars.size() > kLongSentence)) return *rest;
  }
  return trimmed;
}

std::optional<RepeatedUnit> repeatedUnit(std::string_view text) {
  std::vector<std::string_view> all = words(text);
  const std::size_t n = all.size();
  if (n < 6) return std::nullopt;
  for (std::size_t k = 2; k <= n / 3; ++k) {
    if (n % k != 0) continue;
    std::string unit = lowercased(joinedWords(all, 0, k));
    bool same = true;
    for (std::size_t at = k; same && at < n; at += k)
      same = lowercased(joinedWords(all, at, k)) == unit;
    if (same) return RepeatedUnit{joinedWords(all, 0, k), static_cast<int>(n / k)};
  }
  return std::nullopt;
}

std::string collapseRepeats(std::string_view text) {
  std::string trimmed = trimWhitespace(text);
  if (trimmed.empty()) return trimmed;
  if (auto unit = repeatedUnit(trimmed); unit && unit->repeats >= kLoopedRepeats) return unit->text;
  std::vector<std::string> all = sentences(trimmed);
  std::vector<std::string> keys;
  for (const auto &s : all)
    keys.push_back(lowercased(trimWhitespace(s)));
  std::string out;
  for (std::size_t i = 0; i < all.size();) {
    std::size_t run = 1;
    while (i + run < all.size() && keys[i + run] == keys[i])
      ++run;
    if (run >= kLoopedRepeats)
      out += all[i];
    else
      for (std::size_t j = i; j < i + run; ++j)
        out += all[j];
    i += run;
  }
  return trimWhitespace(out);
}

} // namespace selvar::TextPipeline
