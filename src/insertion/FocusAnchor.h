#pragma once
// Which process and which UI element had the keyboard focus when a recording began, so that the
// focus can be put back there before the paste, wherever the user clicked meanwhile.

#include "platform/Accessibility.h"
#include "platform/Workspace.h"

#include <optional>

namespace selvar {

struct FocusAnchor {
  int pid = 0;
  ElementRef element;

  // Nothing for no application, a terminated one, Selvar itself, or when the focused element
  // cannot be read.
  static std::optional<FocusAnchor> capture(const std::optional<RunningApp> &app);
};

} // namespace selvar
