// Sentence-level character walks: where sentences end, spacing after marks, capitals.

#include "text/TextPipeline.h"

#include <array>
#include <cassert>

namespace selvar::TextPipeline {

namespace {

// Lowercase words whose trailing period does not end a sentence. The two with a period inside
// can never be scanned as one word; they stay for completeness.
constexpr std::array<std::string_view, 25> kAbbreviations{
    "mr",     "mrs",  "ms",  "dr",  "prof", "sr",  "jr", "st", "vs", "etc", "inc", "ltd", "co",
    "approx", "dept", "est", "fig", "no",   "vol", "pp", "cf", "al", "ca",  "i.e", "e.g"};

// Characters after which no space is ever inserted.
constexpr std::array<std::string_view, 7> kClosers{"\"", "'", "\u201D", "\u2019", ")", "]", "}"};

template <std::size_t N>
bool isOneOf(const Character &c, const std::array<std::string_view, N> &set) {
  for (std::string_view s : set)
    if (c.text == s) return true;
  return false;
}

bool isAbbreviation(const Characters &chars, std::size_t begin, std::size_t end) {
  std::string word = lowercased(joined(chars, begin, end));
  for (std::string_view a : kAbbreviations)
    if (word == a) return true;
  return false;
}

bool isNewline(const Character &c) {
  switch (c.scalar) {
  case 0x0A:
  case 0x0B:
  case 0x0C:
  case 0x0D:
  case 0x85:
  case 0x2028:
  case 0x2029:
    return true;
  default:
    return false;
  }
}

bool isSentenceMark(const Character &c) {
  return c == "." || c == "!" || c == "?";
}

// Whether one space belongs between the mark at `i` and the character after it.
bool wantsSpaceAfter(const Characters &chars, std::size_t i) {
  const Character &c = chars[i], &n = chars[i + 1];
  if (n.isWhitespace() || isNewline(n) || isOneOf(n, kClosers)) return false;
  if (c == "," || c == ":") return !(i > 0 && chars[i - 1].isNumber() && n.isNumber());
  if (c == ".") return endsSentence(chars, i);
  return c == ";" || c == "!" || c == "?";
}

} // namespace

bool endsSentence(const Characters &chars, std::size_t i) {
  assert(i < chars.size());
  if (i >= chars.size() || chars[i] != ".") return true;
  if (i == 0 && chars.size() < 2) return true;
  const Character *p = i > 0 ? &chars[i - 1] : nullptr;
  const Character *n = i + 1 < chars.size() ? &chars[i + 1] : nullptr;
  if (n) {
    if (p && p->isNumber() && n->isNumber()) return false; // a decimal point
    if (*n == ".") return false;                           // an ellipsis made of periods
    if (n->isLowercase()) return false;                    // "e.g"
    if (!p) return true;
  }
  if (i >= 2 && p->isLetter()) {
    const Character &before = chars[i - 2];
    if (before == " " || before == "." || before == "(" || before == "\"") return false; // " J."
  }
  if (!p->isLetter()) return true;
  std::size_t start = i - 1;
  while (start > 0 && chars[start - 1].isLetter())
    --start;
  return !isAbbreviation(chars, start, i);
}

std::string spaceAfterMarks(std::string_view text) {
  Characters chars = characters(text);
  std::string out;
  out.reserve(text.size() + 8);
  for (std::size_t i = 0; i < chars.size(); ++i) {
    const Character &c = chars[i];
    out += c.text;
    bool mark = c == "," || c == ";" || c == ":" || c == "!" || c == "?" || c == ".";
    if (mark && i + 1 < chars.size() && wantsSpaceAfter(chars, i)) out += ' ';
  }
  return out;
}

std::string capitalizeSentences(std::string_view text) {
  Characters chars = characters(text);
  std::string out;
  out.reserve(text.size() + 8);
  bool capitalizeNext = true;
  for (std::size_t i = 0; i < chars.size(); ++i) {
    const Character &c = chars[i];
    if (capitalizeNext && c.isLetter()) {
      out += uppercased(c.text);
      capitalizeNext = false;
      continue;
    }
    out += c.text;
    if (c.isLineFeed())
      capitalizeNext = true;
    else if (isSentenceMark(c))
      capitalizeNext = endsSentence(chars, i);
    else
      capitalizeNext = capitalizeNext && c.isWhitespace();
  }
  return out;
}

} // namespace selvar::TextPipeline
