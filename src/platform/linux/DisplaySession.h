#pragma once
// Which kind of desktop session Selvar runs in, from the environment. Wayland sessions often
// also run XWayland (DISPLAY is set), but XWayland only sees X11 windows, so the Wayland
// variable wins.

#include <string_view>

namespace selvar {

enum class DisplaySessionKind { x11, wayland, none };

namespace DisplaySession {

// From the values of WAYLAND_DISPLAY, XDG_SESSION_TYPE and DISPLAY (nullptr when unset).
DisplaySessionKind classify(const char *waylandDisplay, const char *sessionType,
                            const char *display);
DisplaySessionKind current();
// Whether an X server is reachable for GDK (X11 itself or XWayland).
bool hasX11Display();

} // namespace DisplaySession

} // namespace selvar
