#pragma once
// Gluing pieces of one dictation together: recognition segments of one utterance, and a
// continued recording after held text.

#include <string>
#include <string_view>

namespace selvar {

// One space between the pieces; either alone when the other is empty.
std::string join(std::string_view a, std::string_view b);

// Appends a continuation to held text. After a sentence end the continuation is kept as it is;
// mid-sentence its capital first letter is lowered, unless it starts an acronym or is the
// word "I" (alone or in a contraction).
std::string joinContinued(std::string_view prefix, std::string_view text);

} // namespace selvar
