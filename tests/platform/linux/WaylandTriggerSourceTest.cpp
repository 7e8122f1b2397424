#include "platform/linux/WaylandTriggerSource.h"

#include <gtest/gtest.h>

namespace selvar {
namespace {

TEST(WaylandTriggerSourceTest, ReadableKeyboardsWinThenThePortalThenTheCommand) {
  using S = WaylandTriggerSource;
  struct Case {
    WaylandTriggerOptions options;
    S source;
    std::size_t hints;
  } cases[] = {
      {{true, false, true}, S::evdev, 0},
      {{true, true, false}, S::evdev, 0}, // some keyboards denied, one readable: enough
      {{false, true, true}, S::portalShortcuts, 1},
      {{false, true, false}, S::controlCommand, 2},
      {{false, false, false}, S::controlCommand, 2},
  };
  for (const auto &c : cases) {
    auto choice = chooseWaylandTriggerSource(c.options);
    EXPECT_EQ(choice.source, c.source);
    EXPECT_EQ(choice.hints.size(), c.hints);
  }
  auto denied = chooseWaylandTriggerSource({false, true, false});
  EXPECT_NE(denied.hints[0].find("input group"), std::string::npos);
  EXPECT_NE(denied.hints[1].find("selvar --stop"), std::string::npos);
}

} // namespace
} // namespace selvar
