#pragma once
// Remembers the last application other than Selvar that was frontmost, so text can go there
// when Selvar's own window (settings, feedback) is in front.

#include "platform/Workspace.h"

#include <optional>

namespace selvar::AppFocus {

// Records the current frontmost application and follows every later activation. Calling it
// again restarts the tracking.
void start();
void stop();
std::optional<RunningApp> lastExternalApplication();

} // namespace selvar::AppFocus
