#include "hud/HUDPresentation.h"

#include "platform/PlatformCapabilities.h"

#include <algorithm>

namespace selvar {

namespace {

// The markers are plain ASCII, so folding ASCII letters is all the comparison needs.
std::string asciiLower(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) {
    return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : char(c);
  });
  return out;
}

bool containsAny(const std::string &text, std::initializer_list<std::string_view> needles) {
  return std::any_of(needles.begin(), needles.end(),
                     [&](std::string_view n) { return text.find(n) != std::string::npos; });
}

} // namespace

StatePresentation presentState(std::string_view state) {
  const std::string lower = asciiLower(state);
  if (containsAny(lower, {"grant", "no on-device"}))
    return {HUDStateKind::warning, HUDTint::orange, "exclamationmark.triangle.fill"};
  if (containsAny(lower, {"listen", "speak"}))
    return {HUDStateKind::listening, HUDTint::red, "mic.fill"};
  if (containsAny(lower, {"transcri"}))
    return {HUDStateKind::transcribing, HUDTint::accent, "ellipsis.bubble.fill"};
  return {};
}

std::string hintLine(TriggerMode mode, std::string_view triggerLabel) {
  switch (mode) {
  case TriggerMode::hold:
    return "release to finish";
  case TriggerMode::automatic:
    return "pause to stop";
  case TriggerMode::toggle:
    break;
  }
  return std::string(triggerLabel) + " to stop";
}

std::string_view triggerHintSymbol(std::string_view triggerRawValue) {
  // A PC keyboard has no symbols printed on its modifiers; there the key's name says it.
  const bool pc = platformCapabilities().pcKeyNames;
  if (triggerRawValue == "rightCommand") return pc ? "Right Super" : "⌘";
  if (triggerRawValue == "rightControl") return pc ? "Right Ctrl" : "⌃";
  if (triggerRawValue == "fnGlobe") return "fn";
  return pc ? "Right Alt" : "⌥";
}

} // namespace selvar
