#pragma once
// Replacing every match of an ICU regular expression with a template. Templates are expanded
// here rather than by ICU, whose own expansion rejects a bare "$" and a group number beyond
// the pattern's count: "$" and digits insert a group, the digits being read only while they
// still name an existing group (with three groups "$12" is group 1 then "2"), a first digit
// beyond the count inserts nothing, a "$" without a digit is a dollar sign, and a backslash
// makes the next character literal.

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unicode/regex.h>

namespace selvar::RegexReplace {

using Pattern = std::shared_ptr<const icu::RegexPattern>;

// Compiles an ICU pattern; nothing when it does not compile (`why` then says where and why).
Pattern compile(std::string_view pattern, uint32_t flags = 0, std::string *why = nullptr);

// How much matching effort one replacement may spend, in ICU time-limit ticks (a few tenths
// of a millisecond each), summed over every match it makes. Zero means no limit.
struct Budget {
  int ticks = 0;
};

struct Result {
  std::optional<std::string> text; // nothing when matching could not finish
  bool timedOut = false;
  std::string failure; // ICU's reason when matching stopped for another cause
};

// Replaces every match over the whole text, left to right.
Result replaceAll(const icu::RegexPattern &pattern, std::string_view text,
                  std::string_view replacementTemplate, Budget budget = {});
// The same for patterns that cannot run out of time; the text stays as it was on failure.
std::string replaceAllOrKeep(const icu::RegexPattern &pattern, std::string_view text,
                             std::string_view replacementTemplate);

// A template's expansion for the current match of `matcher`.
icu::UnicodeString expand(const icu::RegexMatcher &matcher, const icu::UnicodeString &tmpl);

// A pattern that matches `literal` exactly (every ASCII symbol escaped).
std::string escapedPattern(std::string_view literal);
// A template that inserts `literal` exactly: backslashes doubled, then every "$" escaped.
std::string escapedTemplate(std::string_view literal);

} // namespace selvar::RegexReplace
