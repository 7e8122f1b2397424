#include "platform/linux/DisplaySession.h"

#include <cstdlib>

namespace selvar::DisplaySession {

namespace {

bool set(const char *value) {
  return value && *value;
}

} // namespace

DisplaySessionKind classify(const char *waylandDisplay, const char *sessionType,
                            const char *display) {
  if (set(waylandDisplay) || (set(sessionType) && std::string_view(sessionType) == "wayland"))
    return DisplaySessionKind::wayland;
  if (set(display)) return DisplaySessionKind::x11;
  return DisplaySessionKind::none;
}

DisplaySessionKind current() {
  return classify(std::getenv("WAYLAND_DISPLAY"), std::getenv("XDG_SESSION_TYPE"),
                  std::getenv("DISPLAY"));
}

bool hasX11Display() {
  return set(std::getenv("DISPLAY"));
}

} // namespace selvar::DisplaySession
