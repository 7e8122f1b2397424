#include "platform/linux/SessionBackend.h"

#include <gtest/gtest.h>

namespace selvar {
namespace {

TEST(SessionBackendTest, WaylandSessionsGetWaylandAdaptersUnlessTheUserForcesOne) {
  struct Case {
    DisplaySessionKind session;
    const char *forced;
    SessionBackend expected;
  } cases[] = {
      {DisplaySessionKind::wayland, nullptr, SessionBackend::wayland},
      {DisplaySessionKind::x11, nullptr, SessionBackend::x11},
      {DisplaySessionKind::none, nullptr, SessionBackend::x11},
      {DisplaySessionKind::wayland, "x11", SessionBackend::x11},
      {DisplaySessionKind::x11, "wayland", SessionBackend::wayland},
      {DisplaySessionKind::wayland, "", SessionBackend::wayland},
      {DisplaySessionKind::wayland, "X11", SessionBackend::wayland}, // unknown: ignored
  };
  for (const auto &c : cases)
    EXPECT_EQ(SessionBackends::choose(c.session, c.forced), c.expected)
        << "forced=" << (c.forced ? c.forced : "(unset)");
}

} // namespace
} // namespace selvar
