#pragma once
// Other dictation tools that may react to the same key gesture as our trigger. Start-up logs
// the ones that are running and the settings window warns beside the trigger choice.

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace selvar {

struct KnownDictationApp {
  std::string_view identifier;  // bundle identifier (macOS) or process name (Linux)
  std::string_view displayName; // the name used in messages
  friend bool operator==(const KnownDictationApp &, const KnownDictationApp &) = default;
};

namespace DictationConflict {

// The desktop applications, keyed by bundle identifier, then the Linux tools, keyed by the
// process name the workspace reports for them. Both are fixed.
std::span<const KnownDictationApp> knownApps();

// The known apps running now, in table order, each at most once. Exact, case-sensitive match.
std::vector<KnownDictationApp> running();

// "other dictation app running: Scribe, Wispr Flow", or nothing when none runs.
std::string logLine(const std::vector<KnownDictationApp> &apps);

// The warning shown beside the trigger choice; empty when none runs.
std::string warningText(const std::vector<KnownDictationApp> &apps);

} // namespace DictationConflict

} // namespace selvar
