#pragma once
// The switches Selvar understands. Each is found anywhere in the argument list; one that takes
// a value reads the argument right after it, and a missing or unusable value leaves the switch
// unset, as if it had not been given.

#include "hotkeys/ControlCommand.h"

#include <optional>
#include <string>
#include <vector>

namespace selvar {

struct CommandLineOptions {
  bool feedbackTest = false;
  bool feedback = false;
  std::optional<std::string> feedbackVoice;
  std::optional<std::string> writeIcon;
  bool settingsMore = false;
  std::optional<std::string> rewriteTest;
  std::optional<std::string> transcribeFile;
  std::optional<double> serverDictateTest;
  std::optional<double> dictateTest;
  bool hudSelftest = false;
  bool hudPreview = false;
  bool retryFailed = false;
  bool help = false;
  bool version = false;
  // "--toggle", "--start", "--stop" or "--cancel": sent to the running copy instead of starting
  // one. The first of them in the argument list counts.
  std::optional<ControlCommand> control;

  // args[0] is the program itself and never counts as a switch.
  static CommandLineOptions parse(const std::vector<std::string> &args);

  // The switch list "--help" prints, one line a switch.
  static std::string helpText();

  // What "--help" (first) or "--version" print before anything starts, after which the process
  // ends; nothing when neither was given.
  std::optional<std::string> immediateAnswer() const;
};

// A whole-string decimal number ("3", "2.5", "1e1"); nothing for anything else, for values
// that are not finite and for negative durations.
std::optional<double> parseSeconds(const std::string &text);

} // namespace selvar
