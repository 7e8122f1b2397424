#pragma once
// Which of the Wayland trigger sources runs, and what the user can do to get a better one.
// Keyboards read directly come first: they honour every trigger choice, bare right-hand
// modifiers and hold mode included, on any compositor. The desktop portal's shortcuts come
// next (a compositor-approved chord, no group membership needed). The control command, bound
// in the compositor, always works and is the last resort.

#include <string>
#include <vector>

namespace selvar {

enum class WaylandTriggerSource { evdev, portalShortcuts, controlCommand };

struct WaylandTriggerOptions {
  bool keyboardsReadable = false;
  bool keyboardsDenied = false; // keyboards exist but the user may not read them
  bool portalShortcuts = false;
};

struct WaylandTriggerChoice {
  WaylandTriggerSource source = WaylandTriggerSource::controlCommand;
  std::vector<std::string> hints; // how to enable the better sources, for the log and run.sh
};

WaylandTriggerChoice chooseWaylandTriggerSource(const WaylandTriggerOptions &options);

} // namespace selvar
