#include "dictation/TranscriptJoin.h"

#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

namespace selvar {

namespace {

struct CodePoint {
  UChar32 value = U_SENTINEL;
  std::size_t end = 0; // byte offset just past it
};

CodePoint codePointAt(std::string_view s, std::size_t offset) {
  if (offset >= s.size()) return {U_SENTINEL, offset};
  const auto *bytes = reinterpret_cast<const uint8_t *>(s.data());
  auto i = static_cast<int32_t>(offset);
  UChar32 c;
  U8_NEXT(bytes, i, static_cast<int32_t>(s.size()), c);
  return {c, static_cast<std::size_t>(i)};
}

bool endsSentence(std::string_view prefix) {
  for (std::string_view end : {".", "!", "?", "\u2026"})
    if (prefix.ends_with(end)) return true;
  return false;
}

bool isApostrophe(UChar32 c) {
  return c == '\'' || c == 0x2019;
}

bool keepsCapital(std::string_view text, const CodePoint &first) {
  CodePoint second = codePointAt(text, first.end);
  if (second.value >= 0 && u_isupper(second.value)) return true; // an acronym
  if (first.value != 'I') return false;
  return second.value < 0 || isApostrophe(second.value) || !u_isalpha(second.value);
}

std::string lowerFirst(std::string_view text, const CodePoint &first) {
  auto head =
      icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(first.end)));
  std::string out;
  head.toLower(icu::Locale::getRoot()).toUTF8String(out);
  out.append(text.substr(first.end));
  return out;
}

} // namespace

std::string join(std::string_view a, std::string_view b) {
  if (a.empty()) return std::string(b);
  if (b.empty()) return std::string(a);
  std::string out(a);
  out += ' ';
  out += b;
  return out;
}

std::string joinContinued(std::string_view prefix, std::string_view text) {
  if (text.empty()) return std::string(prefix);
  if (prefix.empty()) return std::string(text);
  if (endsSentence(prefix)) return join(prefix, text);
  CodePoint first = codePointAt(text, 0);
  if (first.value >= 0 && u_isupper(first.value) && !keepsCapital(text, first))
    return join(prefix, lowerFirst(text, first));
  return join(prefix, text);
}

} // namespace selvar
