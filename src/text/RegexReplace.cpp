#include "text/RegexReplace.h"

#include <cctype>
#include <fmt/format.h>

namespace selvar::RegexReplace {

namespace {

icu::UnicodeString unicode(std::string_view utf8) {
  return icu::UnicodeString::fromUTF8(
      icu::StringPiece(utf8.data(), static_cast<int32_t>(utf8.size())));
}

bool isAsciiDigit(char16_t c) {
  return c >= u'0' && c <= u'9';
}

// Effort spent by one replacement: ticks of the finished matches plus the running one.
struct Spent {
  int finished = 0;
  int running = 0;
  int budget = 0;
};

UBool U_CALLCONV withinBudget(const void *context, int32_t ticks) {
  auto *spent = static_cast<Spent *>(const_cast<void *>(context));
  spent->running = ticks;
  return spent->finished + ticks < spent->budget;
}

// Appends the group named by the digits at `i` and returns the index after them.
int32_t appendGroup(const icu::RegexMatcher &m, const icu::UnicodeString &tmpl, int32_t i,
                    icu::UnicodeString &out) {
  const int32_t groups = m.groupCount();
  int32_t n = tmpl.charAt(i++) - u'0';
  if (n > groups) return i;
  while (i < tmpl.length() && isAsciiDigit(tmpl.charAt(i)) &&
         n * 10 + (tmpl.charAt(i) - u'0') <= groups)
    n = n * 10 + (tmpl.charAt(i++) - u'0');
  UErrorCode status = U_ZERO_ERROR;
  int32_t start = m.start(n, status), end = m.end(n, status);
  if (U_SUCCESS(status) && start >= 0) out.append(m.input(), start, end - start);
  return i;
}

} // namespace

Pattern compile(std::string_view pattern, uint32_t flags, std::string *why) {
  UErrorCode status = U_ZERO_ERROR;
  UParseError where{};
  std::unique_ptr<icu::RegexPattern> compiled(
      icu::RegexPattern::compile(unicode(pattern), flags, where, status));
  if (U_SUCCESS(status) && compiled) return Pattern(std::move(compiled));
  if (why)
    *why = fmt::format("{} at line {} offset {}", u_errorName(status), where.line, where.offset);
  return nullptr;
}

icu::UnicodeString expand(const icu::RegexMatcher &m, const icu::UnicodeString &tmpl) {
  icu::UnicodeString out;
  const int32_t length = tmpl.length();
  for (int32_t i = 0; i < length;) {
    char16_t c = tmpl.charAt(i);
    if (c == u'\\' && i + 1 < length) {
      UChar32 next = tmpl.char32At(i + 1);
      out.append(next);
      i += 1 + U16_LENGTH(next);
    } else if (c == u'$' && i + 1 < length && isAsciiDigit(tmpl.charAt(i + 1))) {
      i = appendGroup(m, tmpl, i + 1, out);
    } else {
      out.append(c);
      ++i;
    }
  }
  return out;
}

Result replaceAll(const icu::RegexPattern &pattern, std::string_view text,
                  std::string_view replacementTemplate, Budget budget) {
  const icu::UnicodeString input = unicode(text);
  const icu::UnicodeString tmpl = unicode(replacementTemplate);
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::RegexMatcher> m(pattern.matcher(input, status));
  if (U_FAILURE(status) || !m) return {std::nullopt, false, u_errorName(status)};
  Spent spent{0, 0, budget.ticks};
  if (budget.ticks > 0) {
    m->setTimeLimit(budget.ticks, status);
    m->setMatchCallback(withinBudget, &spent, status);
  }
  icu::UnicodeString out;
  int32_t copied = 0;
  while (m->find(status)) {
    int32_t start = m->start(status);
    out.append(input, copied, start - copied).append(expand(*m, tmpl));
    copied = m->end(status);
    spent.finished += spent.running;
    spent.running = 0;
  }
  if (status == U_REGEX_TIME_OUT || status == U_REGEX_STOPPED_BY_CALLER)
    return {std::nullopt, true, {}};
  if (U_FAILURE(status)) return {std::nullopt, false, u_errorName(status)};
  out.append(input, copied, input.length() - copied);
  std::string result;
  out.toUTF8String(result);
  return {std::move(result), false, {}};
}

std::string replaceAllOrKeep(const icu::RegexPattern &pattern, std::string_view text,
                             std::string_view replacementTemplate) {
  Result r = replaceAll(pattern, text, replacementTemplate);
  return r.text ? std::move(*r.text) : std::string(text);
}

std::string escapedPattern(std::string_view literal) {
  std::string out;
  out.reserve(literal.size() * 2);
  for (char c : literal) {
    auto u = static_cast<unsigned char>(c);
    if (u < 0x80 && std::ispunct(u)) out += '\\';
    out += c;
  }
  return out;
}

std::string escapedTemplate(std::string_view literal) {
  std::string out;
  out.reserve(literal.size() + 4);
  for (char c : literal) {
    if (c == '\\' || c == '$') out += '\\';
    out += c;
  }
  return out;
}

} // namespace selvar::RegexReplace
