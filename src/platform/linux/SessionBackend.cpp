#include "platform/linux/SessionBackend.h"

#include <cstdlib>

namespace selvar::SessionBackends {

SessionBackend choose(DisplaySessionKind session, const char *forced) {
  const std::string_view wanted = forced ? forced : "";
  if (wanted == "x11") return SessionBackend::x11;
  if (wanted == "wayland") return SessionBackend::wayland;
  return session == DisplaySessionKind::wayland ? SessionBackend::wayland : SessionBackend::x11;
}

SessionBackend current() {
  return choose(DisplaySession::current(), std::getenv("SELVAR_BACKEND"));
}

std::string_view name(SessionBackend backend) {
  return backend == SessionBackend::wayland ? "wayland" : "x11";
}

} // namespace selvar::SessionBackends
