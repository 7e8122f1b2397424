#include "dictation/TranscriptResolver.h"

#include "support/Unicode.h"

namespace selvar::TranscriptResolver {

std::string resolve(std::string_view final, std::string_view partial) {
  std::string f = trimWhitespace(final);
  std::string p = trimWhitespace(partial);
  if (p.empty()) return f;
  if (f.empty()) return p;
  auto finalCount = graphemeCount(f);
  auto partialCount = graphemeCount(p);
  return finalCount < (2 * partialCount) / 3 ? p : f;
}

} // namespace selvar::TranscriptResolver
