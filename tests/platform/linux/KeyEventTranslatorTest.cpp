#include "platform/linux/KeyEventTranslator.h"

#include "hotkeys/KeyChoices.h"

#include <gtest/gtest.h>

namespace selvar {
namespace {

// X11 key codes of a standard PC keyboard (evdev + 8).
constexpr int kLeftAlt = 64, kRightAlt = 108, kRightCtrl = 105, kLeftCtrl = 37, kRightSuper = 134,
              kEscape = 9, kV = 55, kPeriod = 60;

struct Step {
  bool press;
  int x11;
  std::optional<KeyEvent::Type> type; // nothing: no event
  int macKeyCode;
  std::uint64_t flags;
};

void play(const std::vector<Step> &steps) {
  KeyEventTranslator t;
  for (std::size_t i = 0; i < steps.size(); ++i) {
    const Step &s = steps[i];
    auto event = s.press ? t.press(s.x11) : t.release(s.x11);
    ASSERT_EQ(event.has_value(), s.type.has_value()) << "step " << i;
    if (!event) continue;
    EXPECT_EQ(event->type, *s.type) << "step " << i;
    EXPECT_EQ(event->keyCode, s.macKeyCode) << "step " << i;
    EXPECT_EQ(event->flags, s.flags) << "step " << i;
  }
}

constexpr auto flagsChanged = KeyEvent::Type::flagsChanged;
constexpr auto keyDown = KeyEvent::Type::keyDown;

TEST(KeyEventTranslatorTest, RightHandModifiersCarryTheTriggersDeviceBits) {
  // The core recognises each trigger by its key code and right-hand device mask.
  play({{true, kRightAlt, flagsChanged, keyCode(Trigger::rightOption),
         ModifierFlag::option | deviceMask(Trigger::rightOption)},
        {false, kRightAlt, flagsChanged, keyCode(Trigger::rightOption), 0},
        {true, kRightCtrl, flagsChanged, keyCode(Trigger::rightControl),
         ModifierFlag::control | deviceMask(Trigger::rightControl)},
        {true, kRightSuper, flagsChanged, keyCode(Trigger::rightCommand),
         ModifierFlag::control | deviceMask(Trigger::rightControl) | ModifierFlag::command |
             deviceMask(Trigger::rightCommand)}});
}

TEST(KeyEventTranslatorTest, LeftOptionNeverLooksLikeTheRightOne) {
  play({{true, kLeftAlt, flagsChanged, 58, ModifierFlag::option | 0x20},
        {true, kRightAlt, flagsChanged, 61, ModifierFlag::option | 0x20 | 0x40},
        {false, kRightAlt, flagsChanged, 61, ModifierFlag::option | 0x20},
        {false, kLeftAlt, flagsChanged, 58, 0}});
}

TEST(KeyEventTranslatorTest, KeyDownsCarryTheHeldModifiersAndRepeatsAreDropped) {
  play({{true, kEscape, keyDown, VirtualKey::escape, 0},
        {false, kEscape, std::nullopt, 0, 0},
        {true, kLeftCtrl, flagsChanged, 59, ModifierFlag::control | 0x1},
        {true, kLeftCtrl, std::nullopt, 0, 0}, // auto-repeat of a held modifier
        {true, kPeriod, keyDown, keyCode(CancelKey::controlPeriod), ModifierFlag::control | 0x1},
        {true, kV, keyDown, VirtualKey::v, ModifierFlag::control | 0x1},
        {false, kLeftCtrl, flagsChanged, 59, 0},
        {false, kLeftCtrl, std::nullopt, 0, 0}, // a release never pressed while watched
        {true, 255 + 8, std::nullopt, 0, 0}});
}

} // namespace
} // namespace selvar
