// The real tap's folder watch, on a folder of its own: a node appearing there is looked at
// without anyone asking for a scan.

#include "platform/linux/EvdevKeyboardTap.h"

#include "platform/fake/FakeEnvironment.h"
#include "support/LogText.h"

#include <chrono>
#include <fstream>
#include <gtest/gtest.h>

namespace selvar::testing {
namespace {

bool runMainLoopUntil(const std::function<bool()> &done) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (!done() && std::chrono::steady_clock::now() < deadline)
    g_main_context_iteration(nullptr, FALSE);
  return done();
}

TEST(EvdevKeyboardTapTest, NodesPluggedInLaterAreLookedAtAndNonDevicesOnlyOnce) {
  FakeEnvironment env;
  const auto folder = env.root() / "input";
  std::filesystem::create_directories(folder);
  EvdevKeyboardTap tap(folder);
  EXPECT_FALSE(tap.anyKeyboardReadable());
  ASSERT_TRUE(tap.install([](const KeyEvent &) { return false; }));
  EXPECT_EQ(tap.keyPassage(), KeyPassage::alsoReachApplication);
  EXPECT_TRUE(logHas("evdev: no readable keyboard yet; waiting for one to appear"));

  const std::string node = (folder / "event9").string();
  std::ofstream(node) << "not a device";
  const std::string line = "evdev: cannot open " + node + ": ";
  EXPECT_TRUE(runMainLoopUntil([&] { return logHas(line); })) << "the new node was not looked at";
  std::ofstream(folder / "mouse0") << "ignored"; // another change: a new scan
  for (int i = 0; i < 100 && g_main_context_iteration(nullptr, FALSE); ++i) {
  }
  EXPECT_EQ(logCount(line), 1u);
  tap.remove();
}

} // namespace
} // namespace selvar::testing
