#include "platform/linux/VirtualKeyChord.h"

#include "hotkeys/KeyChoices.h"

#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

namespace selvar {
namespace {

constexpr ModifierMasks kMasks{.control = 0x4, .shift = 0x1, .alt = 0x8};

using Steps = std::vector<VirtualKeyStep>;

TEST(VirtualKeyChordTest, ModifiersWrapTheKeyAndTheMaskFollowsEachStep) {
  struct Case {
    const char *name;
    std::uint64_t flags;
    Steps press;
    Steps release;
  } cases[] = {
      {"command is ctrl",
       ModifierFlag::command,
       {{KEY_LEFTCTRL, true, 0x4}, {KEY_V, true, 0x4}},
       {{KEY_V, false, 0x4}, {KEY_LEFTCTRL, false, 0}}},
      {"command and control press ctrl once",
       ModifierFlag::command | ModifierFlag::control,
       {{KEY_LEFTCTRL, true, 0x4}, {KEY_V, true, 0x4}},
       {{KEY_V, false, 0x4}, {KEY_LEFTCTRL, false, 0}}},
      {"released in reverse, each mask dropped in turn",
       ModifierFlag::command | ModifierFlag::shift | ModifierFlag::option,
       {{KEY_LEFTCTRL, true, 0x4},
        {KEY_LEFTSHIFT, true, 0x5},
        {KEY_LEFTALT, true, 0xD},
        {KEY_V, true, 0xD}},
       {{KEY_V, false, 0xD},
        {KEY_LEFTALT, false, 0x5},
        {KEY_LEFTSHIFT, false, 0x4},
        {KEY_LEFTCTRL, false, 0}}},
      {"no modifiers", 0, {{KEY_V, true, 0}}, {{KEY_V, false, 0}}},
  };
  for (const auto &c : cases) {
    auto chord = planChord(VirtualKey::v, c.flags, kMasks);
    ASSERT_TRUE(chord) << c.name;
    EXPECT_EQ(chord->press, c.press) << c.name;
    EXPECT_EQ(chord->release, c.release) << c.name;
  }
}

TEST(VirtualKeyChordTest, KeyWithoutAnEvdevCodeIsRefused) {
  EXPECT_FALSE(planChord(500, ModifierFlag::command, kMasks));
  EXPECT_FALSE(planChord(-1, 0, kMasks));
}

} // namespace
} // namespace selvar
