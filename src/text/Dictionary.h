#pragma once
// The user's rules compiled into case-insensitive regular-expression replacements, applied in
// rule order, each to the output of the ones before it. Every rule's matching runs under a time
// budget: a rule that cannot finish in time (a catastrophic pattern such as "(a+)+$") leaves
// the text as it was for that utterance, and is logged once.

#include "text/DictionaryRule.h"
#include "text/RegexReplace.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace selvar {

class Dictionary {
public:
  struct Compiled {
    RegexReplace::Pattern expression;
    std::string replacementTemplate;
    std::string heard; // the rule as the user wrote it, for the log
  };

  // Matching effort allowed to one rule on one text (about 20 ms on a current machine).
  static constexpr RegexReplace::Budget kRuleBudget{100};

  Dictionary() = default;
  explicit Dictionary(const std::vector<DictionaryRule> &rules);

  // Rules with an empty heard or a pattern that does not compile are left out.
  // A rule that could not run on a text: "timed out", or ICU's reason.
  struct Failure {
    std::string heard;
    std::string why;
  };

  static std::vector<Compiled> compile(const std::vector<DictionaryRule> &rules);
  // Failures are logged (once a rule) and, when asked, reported to the caller.
  static std::string apply(const std::vector<Compiled> &compiled, std::string_view text,
                           std::vector<Failure> *failures = nullptr);

  // Replaces the compiled rules with those of the file; keeps them when it cannot be read or
  // decoded, and says why.
  DictionaryRead load(const std::filesystem::path &from);
  std::string apply(std::string_view text) const { return apply(compiled_, text); }
  const std::vector<Compiled> &compiled() const { return compiled_; }

private:
  std::vector<Compiled> compiled_;
};

} // namespace selvar
