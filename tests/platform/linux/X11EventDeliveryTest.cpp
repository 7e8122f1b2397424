// Events that an Xlib round trip reads off the socket must still reach the handlers at once.
// Each case sends its events in one burst from another client, waits until the server has
// handled them, makes the adapter do a round trip (which reads the burst into Xlib's queue and
// leaves the socket quiet), and then runs the main loop without blocking.

// clang-format off: before Xlib, whose macros (None, Bool) break the test framework's templates
#include <gtest/gtest.h>
// clang-format on

#include "platform/fake/FakeEnvironment.h"
#include "platform/linux/PrivateXServer.h"
#include "platform/linux/X11KeyboardTap.h"
#include "platform/linux/X11Support.h"
#include "platform/linux/X11Workspace.h"

#include <X11/Xatom.h>
#include <X11/extensions/XTest.h>
#include <functional>
#include <unistd.h>

namespace selvar {
namespace {

constexpr int kRightAltX11 = 108; // Right Alt on the server's PC keymap
constexpr int kRightOption = 61;
constexpr int kEscape = 53;

// Dispatches whatever is ready without blocking; bounded in case a source keeps firing.
void runPendingMainLoopWork() {
  for (int i = 0; i < 100 && g_main_context_iteration(nullptr, FALSE); ++i) {
  }
}

class X11EventDeliveryTest : public ::testing::Test {
protected:
  void SetUp() override {
    if (server.name().empty()) GTEST_SKIP() << "Xvfb is not available";
    other = XOpenDisplay(server.name().c_str());
    ASSERT_NE(other, nullptr);
  }
  void TearDown() override {
    if (other) XCloseDisplay(other);
  }

  FakeEnvironment env;
  testing::PrivateXServer server;
  Display *other = nullptr;
};

TEST_F(X11EventDeliveryTest, AKeyPressAndReleaseReadDuringARoundTripReachTheTapHandler) {
  const SwallowedKey escape{kEscape, 0, false};
  struct Case {
    const char *name;
    std::vector<SwallowedKey> before;
    std::function<void(X11KeyboardTap &)> roundTrip;
  } cases[] = {
      {"grab", {}, [&](X11KeyboardTap &tap) { tap.setSwallowedKeys({escape}); }},
      {"ungrab", {escape}, [](X11KeyboardTap &tap) { tap.setSwallowedKeys({}); }},
      {"key state query", {}, [](X11KeyboardTap &tap) { tap.isKeyDown(kRightOption); }},
  };
  for (const auto &c : cases) {
    X11KeyboardTap tap;
    std::vector<KeyEvent> seen;
    ASSERT_TRUE(tap.install([&](const KeyEvent &e) {
      seen.push_back(e);
      return false;
    })) << c.name;
    tap.setSwallowedKeys(c.before);
    tap.isKeyDown(kRightOption); // a round trip: the server has the selection before the keys
    runPendingMainLoopWork();

    XTestFakeKeyEvent(other, kRightAltX11, True, CurrentTime);
    XTestFakeKeyEvent(other, kRightAltX11, False, CurrentTime);
    XSync(other, False);
    c.roundTrip(tap);
    runPendingMainLoopWork();

    ASSERT_EQ(seen.size(), 2u) << c.name;
    EXPECT_EQ(seen[0].type, KeyEvent::Type::flagsChanged) << c.name;
    EXPECT_EQ(seen[0].keyCode, kRightOption) << c.name;
    EXPECT_NE(seen[0].flags, 0u) << c.name; // down
    EXPECT_EQ(seen[1].keyCode, kRightOption) << c.name;
    EXPECT_EQ(seen[1].flags & KeyEventTranslator::modifierBits(kRightOption), 0u) << c.name;
  }
}

TEST_F(X11EventDeliveryTest, AnActivationReadDuringARoundTripReachesTheWorkspaceObservers) {
  // A window of this process becomes the active one, as a window manager would announce it.
  Window window = XCreateSimpleWindow(other, DefaultRootWindow(other), 0, 0, 10, 10, 0, 0, 0);
  const unsigned long pid = getpid();
  XChangeProperty(other, window, X11Windows::atom(other, "_NET_WM_PID"), XA_CARDINAL, 32,
                  PropModeReplace, reinterpret_cast<const unsigned char *>(&pid), 1);
  XSync(other, False);

  X11Workspace workspace;
  std::vector<int> activated;
  workspace.observeActivations([&](const RunningApp &app) { activated.push_back(app.pid); });
  runPendingMainLoopWork();

  XChangeProperty(other, DefaultRootWindow(other), X11Windows::atom(other, "_NET_ACTIVE_WINDOW"),
                  XA_WINDOW, 32, PropModeReplace, reinterpret_cast<const unsigned char *>(&window),
                  1);
  XSync(other, False);
  workspace.frontmostApplication(); // a property read: a round trip on the watched connection
  runPendingMainLoopWork();

  EXPECT_EQ(activated, std::vector<int>{int(pid)});
}

} // namespace
} // namespace selvar
