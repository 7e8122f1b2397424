#pragma once
// The selvar-text command, for users who tune their dictionary: cleans up standard input as a
// dictation would be, with the current preferences and dictionary unless flags override them,
// or prints the word error rate of a transcript against a reference.

#include <functional>
#include <string>
#include <vector>

namespace selvar {

struct TextCommandResult {
  int exitCode = 0;
  std::string out; // for standard output
  std::string err; // for standard error
};

// `args` excludes the program name; `readInput` returns all of standard input and is only
// called when the text is needed.
TextCommandResult runTextCommand(const std::vector<std::string> &args,
                                 const std::function<std::string()> &readInput);

} // namespace selvar
