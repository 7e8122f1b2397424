#pragma once
// Unicode basics shared by the records and the text code (ICU underneath).

#include <cstddef>
#include <string>
#include <string_view>

namespace selvar {

// User-perceived characters (extended grapheme clusters) in UTF-8 text.
std::size_t graphemeCount(std::string_view utf8);
bool isValidUtf8(std::string_view bytes);
// Replaces every invalid sequence with U+FFFD.
std::string repairUtf8(std::string_view bytes);
// Trims Unicode white space and newlines from both ends.
std::string trimWhitespace(std::string_view utf8);

} // namespace selvar
