#pragma once
// Text as a sequence of user-perceived characters (extended grapheme clusters), with the
// Unicode properties and full case mappings the text rules ask about. A character's
// properties are those of its first scalar.

#include <string>
#include <string_view>
#include <vector>

namespace selvar {

struct Character {
  std::string text; // the cluster's UTF-8 bytes
  char32_t scalar;  // its first scalar

  bool operator==(std::string_view other) const { return text == other; }
  bool isLetter() const;
  bool isNumber() const;
  bool isLowercase() const;
  bool isWhitespace() const;
  // A line feed; a carriage return and line feed pair is one character and counts too.
  bool isLineFeed() const { return text == "\n" || text == "\r\n"; }
};

using Characters = std::vector<Character>;

// Splits UTF-8 text into characters; invalid bytes become U+FFFD first.
Characters characters(std::string_view utf8);
std::string joined(const Characters &chars, std::size_t begin, std::size_t end);
inline std::string joined(const Characters &chars) {
  return joined(chars, 0, chars.size());
}

// Full Unicode case mappings, independent of any language (ß → SS, İ → i̇).
std::string lowercased(std::string_view utf8);
std::string uppercased(std::string_view utf8);

} // namespace selvar
