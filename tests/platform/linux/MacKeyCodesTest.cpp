#include "platform/linux/MacKeyCodes.h"

#include "platform/fake/FakeEnvironment.h"
#include "platform/linux/XkbKeyboardLayout.h"
#include "records/Log.h"

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>

namespace selvar {
namespace {

using namespace MacKeyCodes;

TEST(MacKeyCodesTest, EveryKeyTranslatesBackToItself) {
  int mapped = 0;
  for (int mac = 0; mac < 256; ++mac)
    if (auto evdev = evdevFromMac(mac)) {
      ++mapped;
      EXPECT_EQ(macFromEvdev(*evdev), mac) << "mac " << mac;
      if (auto x11 = x11FromMac(mac)) {
        EXPECT_EQ(macFromX11(*x11), mac) << "mac " << mac;
      }
    }
  for (int evdev = 0; evdev < 1024; ++evdev)
    if (auto mac = macFromEvdev(evdev)) {
      EXPECT_EQ(evdevFromMac(*mac), evdev) << "evdev " << evdev;
    }
  EXPECT_GT(mapped, 110);
}

TEST(MacKeyCodesTest, SamePhysicalKeyAsTheXServerNumbersIt) {
  // X11 key codes as xev reports them on a PC keyboard with the evdev driver.
  struct Case {
    int mac;
    int x11;
    const char *key;
  } cases[] = {
      {0, 38, "a"},          {12, 24, "q"},       {18, 10, "1"},      {50, 49, "grave"},
      {10, 94, "ISO <>"},    {36, 36, "Return"},  {49, 65, "space"},  {51, 22, "BackSpace"},
      {53, 9, "Escape"},     {58, 64, "Alt_L"},   {61, 108, "Alt_R"}, {62, 105, "Control_R"},
      {54, 134, "Super_R"},  {60, 62, "Shift_R"}, {122, 67, "F1"},    {111, 96, "F12"},
      {105, 191, "F13"},     {90, 198, "F20"},    {123, 113, "Left"}, {117, 119, "Delete"},
      {76, 104, "KP_Enter"}, {89, 79, "KP_7"},    {93, 132, "yen"},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(x11FromMac(c.mac), c.x11) << c.key;
    EXPECT_EQ(macFromX11(c.x11), c.mac) << c.key;
  }
}

TEST(MacKeyCodesTest, KeysWithoutACounterpart) {
  EXPECT_EQ(evdevFromMac(63), 464); // Fn exists for evdev ...
  EXPECT_FALSE(x11FromMac(63));     // ... but not in X11's one-byte key codes
  for (int mac : {-1, 0x34, 0x42, 0x6C, 0x70, 0x7F, 1000})
    EXPECT_FALSE(evdevFromMac(mac)) << mac;
  for (int x11 : {-1, 0, 7, 256, 472})
    EXPECT_FALSE(macFromX11(x11)) << x11;
}

TEST(XkbKeyboardLayoutTest, NoDisplayMeansNoCharactersAndOneLogLine) {
  FakeEnvironment env;
  XkbKeyboardLayout layout(":4242");
  EXPECT_FALSE(layout.characterForKeyCode(0));
  EXPECT_FALSE(layout.characterForKeyCode(49));
  Log::flush();
  std::ifstream in(env.files.dataRoot() / "logs/selvar.log");
  std::string log((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  EXPECT_NE(log.find("keyboard layout unavailable"), std::string::npos) << log;
  EXPECT_EQ(log.find("keyboard layout unavailable"), log.rfind("keyboard layout unavailable"));
}

TEST(XkbKeyboardLayoutTest, AsksTheRunningDisplay) {
  if (!std::getenv("DISPLAY")) GTEST_SKIP() << "no X display";
  FakeEnvironment env;
  XkbKeyboardLayout layout;
  // True on every layout: Space types a space, F1 types nothing.
  EXPECT_EQ(layout.characterForKeyCode(49), " ");
  EXPECT_FALSE(layout.characterForKeyCode(122));
  EXPECT_FALSE(layout.characterForKeyCode(63)); // Fn has no X11 key code
}

} // namespace
} // namespace selvar
