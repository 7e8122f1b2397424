#pragma once
// Which set of desktop adapters this process uses. A Wayland session gets the Wayland ones
// (XWayland would only reach X11 windows); SELVAR_BACKEND=x11 or =wayland overrides the choice
// for sessions where the other set works better.

#include "platform/linux/DisplaySession.h"

#include <optional>
#include <string_view>

namespace selvar {

enum class SessionBackend { x11, wayland };

namespace SessionBackends {

// forced is SELVAR_BACKEND (nullptr when unset); an unknown value is ignored.
SessionBackend choose(DisplaySessionKind session, const char *forced);
SessionBackend current();
std::string_view name(SessionBackend backend);

} // namespace SessionBackends

} // namespace selvar
