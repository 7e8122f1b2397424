#pragma once
// The last application other than Selvar that was frontmost, as the application's focus tracker
// remembers it. The inserter hands the focus back to it when Selvar itself came forward.

#include "platform/Workspace.h"

#include <functional>
#include <optional>

namespace selvar::PreviousApplication {

using Source = std::function<std::optional<RunningApp>()>;
// Installed once by the focus tracker at start-up (tests install their own).
void setSource(Source source);
std::optional<RunningApp> current();

} // namespace selvar::PreviousApplication
