#pragma once
// Chooses between a segment's final result and the best partial seen while speaking: some
// recognizers finish with a final that drops most of what their partials showed.

#include <string>
#include <string_view>

namespace selvar::TranscriptResolver {

// Both sides trimmed; the partial wins only when the final has fewer than two thirds of its
// characters (integer division), ties go to the final.
std::string resolve(std::string_view final, std::string_view partial);

} // namespace selvar::TranscriptResolver
