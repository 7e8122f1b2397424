#include "text/Characters.h"

#include "support/Unicode.h"

#include <memory>
#include <unicode/brkiter.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utext.h>
#include <unicode/utf8.h>

namespace selvar {

namespace {

icu::BreakIterator *graphemeIterator() {
  thread_local std::unique_ptr<icu::BreakIterator> it = [] {
    UErrorCode status = U_ZERO_ERROR;
    return std::unique_ptr<icu::BreakIterator>(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
  }();
  return it.get();
}

char32_t firstScalar(std::string_view utf8) {
  const auto *s = reinterpret_cast<const uint8_t *>(utf8.data());
  int32_t i = 0;
  UChar32 c;
  U8_NEXT(s, i, static_cast<int32_t>(utf8.size()), c);
  return c < 0 ? 0xFFFD : static_cast<char32_t>(c);
}

bool isAscii(char c) {
  return static_cast<unsigned char>(c) < 0x80;
}

// Splits valid UTF-8 at grapheme boundaries, working on the bytes directly. Two ASCII
// characters in a row are always separate characters (except CR LF), so only text next to
// other scripts, marks and emoji goes through the break iterator.
void splitValid(std::string_view utf8, Characters &out) {
  icu::BreakIterator *it = graphemeIterator();
  UErrorCode status = U_ZERO_ERROR;
  UText *text = utext_openUTF8(nullptr, utf8.data(), static_cast<int64_t>(utf8.size()), &status);
  if (!it || U_FAILURE(status)) {
    utext_close(text);
    return;
  }
  it->setText(text, status);
  const auto size = static_cast<int32_t>(utf8.size());
  for (int32_t start = 0, end = 0; start < size; start = end) {
    if (isAscii(utf8[start]) && (start + 1 == size || isAscii(utf8[start + 1])))
      end = start + (utf8.compare(start, 2, "\r\n") == 0 ? 2 : 1);
    else
      end = it->current() == start ? it->next() : it->following(start);
    if (end == icu::BreakIterator::DONE || end <= start) end = size;
    std::string_view piece = utf8.substr(start, end - start);
    out.push_back({std::string(piece), firstScalar(piece)});
  }
  utext_close(text);
}

icu::UnicodeString unicode(std::string_view utf8) {
  return icu::UnicodeString::fromUTF8(
      icu::StringPiece(utf8.data(), static_cast<int32_t>(utf8.size())));
}

std::string utf8(const icu::UnicodeString &s) {
  std::string out;
  s.toUTF8String(out);
  return out;
}

} // namespace

bool Character::isLetter() const {
  return u_hasBinaryProperty(scalar, UCHAR_ALPHABETIC);
}
bool Character::isNumber() const {
  return u_getIntPropertyValue(scalar, UCHAR_NUMERIC_TYPE) != U_NT_NONE;
}
bool Character::isLowercase() const {
  return u_hasBinaryProperty(scalar, UCHAR_LOWERCASE);
}
bool Character::isWhitespace() const {
  return u_isUWhiteSpace(scalar);
}

Characters characters(std::string_view text) {
  Characters out;
  out.reserve(text.size());
  if (isValidUtf8(text)) {
    splitValid(text, out);
  } else {
    std::string repaired = repairUtf8(text);
    splitValid(repaired, out);
  }
  return out;
}

std::string joined(const Characters &chars, std::size_t begin, std::size_t end) {
  std::string out;
  for (std::size_t i = begin; i < end && i < chars.size(); ++i)
    out += chars[i].text;
  return out;
}

std::string lowercased(std::string_view text) {
  return utf8(unicode(text).toLower(icu::Locale::getRoot()));
}

std::string uppercased(std::string_view text) {
  return utf8(unicode(text).toUpper(icu::Locale::getRoot()));
}

} // namespace selvar
