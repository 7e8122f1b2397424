#include "support/Unicode.h"

#include <memory>
#include <unicode/brkiter.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

namespace selvar {

std::size_t graphemeCount(std::string_view utf8) {
  if (utf8.empty()) return 0;
  UErrorCode status = U_ZERO_ERROR;
  thread_local std::unique_ptr<icu::BreakIterator> it(
      icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
  if (!it) return 0;
  icu::UnicodeString text = icu::UnicodeString::fromUTF8(
      icu::StringPiece(utf8.data(), static_cast<int32_t>(utf8.size())));
  it->setText(text);
  std::size_t count = 0;
  it->first();
  while (it->next() != icu::BreakIterator::DONE)
    ++count;
  return count;
}

bool isValidUtf8(std::string_view bytes) {
  const auto *s = reinterpret_cast<const uint8_t *>(bytes.data());
  int32_t i = 0, n = static_cast<int32_t>(bytes.size());
  while (i < n) {
    UChar32 c;
    U8_NEXT(s, i, n, c);
    if (c < 0) return false;
  }
  return true;
}

std::string repairUtf8(std::string_view bytes) {
  if (isValidUtf8(bytes)) return std::string(bytes);
  std::string out;
  out.reserve(bytes.size() + 8);
  const auto *s = reinterpret_cast<const uint8_t *>(bytes.data());
  int32_t i = 0, n = static_cast<int32_t>(bytes.size());
  while (i < n) {
    int32_t start = i;
    UChar32 c;
    U8_NEXT(s, i, n, c);
    if (c < 0)
      out += "\xEF\xBF\xBD";
    else
      out.append(bytes.data() + start, static_cast<std::size_t>(i - start));
  }
  return out;
}

std::string trimWhitespace(std::string_view utf8) {
  const auto *s = reinterpret_cast<const uint8_t *>(utf8.data());
  int32_t n = static_cast<int32_t>(utf8.size());
  int32_t begin = 0, end = n;
  while (begin < end) {
    int32_t next = begin;
    UChar32 c;
    U8_NEXT(s, next, n, c);
    if (c < 0 || !u_isUWhiteSpace(c)) break;
    begin = next;
  }
  while (end > begin) {
    int32_t prev = end;
    UChar32 c;
    U8_PREV(s, 0, prev, c);
    if (c < 0 || !u_isUWhiteSpace(c)) break;
    end = prev;
  }
  return std::string(utf8.substr(begin, end - begin));
}

} // namespace selvar
