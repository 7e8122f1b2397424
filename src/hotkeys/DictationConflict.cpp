#include "hotkeys/DictationConflict.h"

#include "platform/Services.h"
#include "platform/Workspace.h"

#include <array>
#include <set>

namespace selvar::DictationConflict {

namespace {
// Desktop apps first (bundle identifiers), then Linux tools (process names as /proc shows
// them, which the kernel truncates to 15 bytes; every name here is shorter).
constexpr std::array<KnownDictationApp, 11> kKnown{{
    {"io.scribe.Scribe", "Scribe"},
    {"com.voiceink.app", "VoiceInk"},
    {"com.superwhisper.SuperWhisper", "superwhisper"},
    {"com.goodsnooze.MacWhisper", "MacWhisper"},
    {"ai.wispr.WisprFlow", "Wispr Flow"},
    {"com.apple.inputmethod.SpeechRecognition", "Apple Dictation"},
    {"nerd-dictation", "nerd-dictation"},
    {"elograf", "Elograf"},
    {"dsnote", "Speech Note"},
    {"numen", "Numen"},
    {"talon", "Talon"},
}};
} // namespace

std::span<const KnownDictationApp> knownApps() {
  return kKnown;
}

std::vector<KnownDictationApp> running() {
  std::vector<KnownDictationApp> found;
  Workspace *workspace = services().workspace;
  if (!workspace) return found;
  std::set<std::string, std::less<>> identifiers;
  for (const auto &app : workspace->runningApplications())
    if (!app.bundleId.empty()) identifiers.insert(app.bundleId);
  for (const auto &known : kKnown)
    if (identifiers.contains(known.identifier)) found.push_back(known);
  return found;
}

std::string logLine(const std::vector<KnownDictationApp> &apps) {
  if (apps.empty()) return {};
  std::string line = "other dictation app running: ";
  for (std::size_t i = 0; i < apps.size(); ++i) {
    if (i > 0) line += ", ";
    line += apps[i].displayName;
  }
  return line;
}

std::string warningText(const std::vector<KnownDictationApp> &apps) {
  // One sentence per app: naming several in one sentence would break the fixed wording.
  std::string text;
  for (const auto &app : apps) {
    if (!text.empty()) text += '\n';
    text += app.displayName;
    text += " is running and also listens for a keyboard hold. Pick a different trigger, or quit "
            "that app while testing.";
  }
  return text;
}

} // namespace selvar::DictationConflict
