#pragma once
// Which kind of desktop session Selvar runs in, from the environment. Global keys, synthetic
// paste and the focus anchor all need X11; a Wayland session only offers them to XWayland
// windows, so it is detected at start and said plainly.

#include <string_view>

namespace selvar {

enum class DisplaySessionKind { x11, wayland, none };

namespace DisplaySession {

inline constexpr const char *kWaylandLogLine =
    "wayland session detected: global keys need X11 (or XWayland with a supporting compositor)";
inline constexpr const char *kWaylandPillText = "Global keys need X11";

// From the values of WAYLAND_DISPLAY, XDG_SESSION_TYPE and DISPLAY (nullptr when unset).
DisplaySessionKind classify(const char *waylandDisplay, const char *sessionType,
                            const char *display);
DisplaySessionKind current();
// Whether an X server is reachable for GDK (X11 itself or XWayland).
bool hasX11Display();

} // namespace DisplaySession

} // namespace selvar
