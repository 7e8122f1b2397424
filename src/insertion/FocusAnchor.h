#pragma once
// Which process and which UI element had the keyboard focus when a recording began, so that the
// focus can be put back there before the paste, wherever the user clicked meanwhile. Where the
// window system names windows but not their processes, the anchor is the focused window; where
// nothing can be put back at all, the anchor only says why.

#include "platform/Accessibility.h"
#include "platform/Workspace.h"

#include <optional>
#include <string>

namespace selvar {

struct FocusAnchor {
  int pid = 0;
  ElementRef element;
  // The focused window, anchored in place of pid and element where only windows are known.
  ElementRef window;
  // Set when the focus cannot be restored in this session: why.
  std::optional<std::string> cannotRestore;

  // Nothing for a terminated application, Selvar itself, or when the focused element cannot
  // be read. Without an application, the focused window where the window system offers one.
  static std::optional<FocusAnchor> capture(const std::optional<RunningApp> &app);
};

} // namespace selvar
