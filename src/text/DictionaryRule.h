#pragma once
// One replacement rule of the user's dictionary, and the dictionary file's JSON payload:
// {"rules": [{"heard": …, "isRegex": …, "replace": …}, …]}.

#include <string>
#include <string_view>
#include <vector>

namespace selvar {

struct DictionaryRule {
  std::string heard;   // what the recognizer returns: a phrase, or an ICU pattern when isRegex
  std::string replace; // the text wanted instead; a template ($1 …) when isRegex
  bool isRegex = false;
  friend bool operator==(const DictionaryRule &, const DictionaryRule &) = default;
};

// The outcome of reading a dictionary payload or file.
struct DictionaryRead {
  enum class Status { ok, missing, unreadable, undecodable };
  Status status = Status::ok;
  std::vector<DictionaryRule> rules; // empty unless ok
  std::string detail;                // why, when not ok
  bool ok() const { return status == Status::ok; }
};

namespace DictionaryCoding {
// Pretty-printed with sorted keys, as the file is written.
std::string encode(const std::vector<DictionaryRule> &rules);
// All three keys of every rule are required; one bad rule fails the whole payload.
DictionaryRead decode(std::string_view json);
} // namespace DictionaryCoding

} // namespace selvar
