#include "app/CommandLineOptions.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace selvar {

namespace {

struct Args {
  const std::vector<std::string> &all;

  std::vector<std::string>::const_iterator find(const char *name) const {
    if (all.empty()) return all.end();
    return std::find(all.begin() + 1, all.end(), name);
  }
  bool has(const char *name) const { return find(name) != all.end(); }
  std::optional<std::string> value(const char *name) const {
    auto it = find(name);
    if (it == all.end() || it + 1 == all.end()) return std::nullopt;
    return *(it + 1);
  }
  std::optional<double> seconds(const char *name) const {
    auto text = value(name);
    return text ? parseSeconds(*text) : std::nullopt;
  }
};

struct HelpLine {
  const char *usage;
  const char *what;
};

constexpr HelpLine kHelp[] = {
    {"--feedback-test", "send a smoke-test feedback report, print the outcome and quit"},
    {"--feedback", "open the feedback window"},
    {"--feedback-voice TEXT", "open the feedback window filled in as if TEXT had been dictated"},
    {"--write-icon DIR", "write the icon set and the status-bar glyph into DIR and quit"},
    {"--settings-more", "open the settings window with its extra sections expanded"},
    {"--rewrite-test TEXT", "rewrite TEXT through the local rewrite server, print it and quit"},
    {"--transcribe-file FILE", "start the transcription server, transcribe FILE and quit"},
    {"--server-dictate-test SEC", "switch to the server engine and record for SEC seconds"},
    {"--dictate-test SEC", "record for SEC seconds with the chosen engine"},
    {"--hud-selftest", "show and hide the pill five times, print each result and quit"},
    {"--hud-preview", "show the pill with a synthetic meter for 8 seconds, then quit"},
    {"--retry-failed", "transcribe the kept failed recording again, deliver it and quit"},
    {"--toggle", "start or finish a dictation in the running Selvar"},
    {"--start", "press the trigger in the running Selvar (bind it to a key press)"},
    {"--stop", "release the trigger in the running Selvar (bind it to the key's release)"},
    {"--cancel", "press the cancel key in the running Selvar"},
    {"--paste-last", "paste the last dictation again from the running Selvar"},
    {"--version", "print the version and quit"},
    {"--help", "print this list and quit"},
};

} // namespace

std::optional<double> parseSeconds(const std::string &text) {
  double value = 0;
  const char *end = text.data() + text.size();
  auto [ptr, ec] = std::from_chars(text.data(), end, value);
  if (ec != std::errc() || ptr != end || text.empty()) return std::nullopt;
  if (!std::isfinite(value) || value < 0) return std::nullopt;
  return value;
}

CommandLineOptions CommandLineOptions::parse(const std::vector<std::string> &all) {
  Args args{all};
  CommandLineOptions o;
  o.feedbackTest = args.has("--feedback-test");
  o.feedback = args.has("--feedback");
  o.feedbackVoice = args.value("--feedback-voice");
  o.writeIcon = args.value("--write-icon");
  o.settingsMore = args.has("--settings-more");
  o.rewriteTest = args.value("--rewrite-test");
  o.transcribeFile = args.value("--transcribe-file");
  o.serverDictateTest = args.seconds("--server-dictate-test");
  o.dictateTest = args.seconds("--dictate-test");
  o.hudSelftest = args.has("--hud-selftest");
  o.hudPreview = args.has("--hud-preview");
  o.retryFailed = args.has("--retry-failed");
  o.help = args.has("--help") || args.has("-h");
  o.version = args.has("--version");
  for (std::size_t i = 1; i < all.size() && !o.control; ++i)
    o.control = controlCommandSwitch(all[i]);
  return o;
}

std::string CommandLineOptions::helpText() {
  std::string text = "usage: selvar [switch …]\n"
                     "Without a switch Selvar starts in the status bar. Switches:\n";
  for (const auto &line : kHelp) {
    std::string usage = line.usage;
    usage.resize(std::max<std::size_t>(usage.size() + 2, 28), ' ');
    text += "  " + usage + line.what + "\n";
  }
  return text;
}

std::optional<std::string> CommandLineOptions::immediateAnswer() const {
  if (help) return helpText();
  if (version) return std::string("selvar ") + SELVAR_VERSION + "\n";
  return std::nullopt;
}

} // namespace selvar
