// The event tap's life and which keys it recognises, swallows and passes on.

#include "hotkeys/HotkeyHandler.h"

#include "dictation/DictationRig.h"
#include "hotkeys/KeyBinding.h"

#include <gtest/gtest.h>

namespace selvar::testing {
namespace {

using State = DictationController::State;

TEST(HotkeyHandlerTest, TapWaitsForAccessibilityAndIsDroppedWhenItIsRevoked) {
  DictationRig rig; // installed at start: trusted
  EXPECT_TRUE(rig.env.keyboardTap.isInstalled());
  EXPECT_TRUE(logHas("hotkey installed trigger=rightOption"));

  rig.env.permissions.accessibility = false;
  rig.env.queue.advance(HotkeyHandler::kRecheckSeconds);
  EXPECT_FALSE(rig.env.keyboardTap.isInstalled());
  EXPECT_TRUE(logHas("Accessibility revoked; dropped the hotkey tap"));
  EXPECT_TRUE(rig.diagnosticsHave("\"name\":\"hotkey.revoked\""));

  rig.env.queue.advance(HotkeyHandler::kRecheckSeconds * 5);
  EXPECT_EQ(logCount("waiting for Accessibility grant before installing the hotkey"), 1u);
  rig.env.permissions.accessibility = true;
  rig.env.queue.advance(HotkeyHandler::kRecheckSeconds);
  EXPECT_TRUE(rig.env.keyboardTap.isInstalled());
  EXPECT_EQ(rig.env.keyboardTap.installs, 2);
}

// Where the trust cannot change, nobody looks again: an idle Selvar has no timer to wake it.
TEST(HotkeyHandlerTest, NoRecheckWhereTheTrustCannotChange) {
  DictationRig rig;
  rig.env.permissions.trustCanChange = false;
  rig.env.queue.advance(HotkeyHandler::kRecheckSeconds); // the check scheduled at start
  rig.env.permissions.accessibility = false;
  rig.env.queue.advance(HotkeyHandler::kRecheckSeconds * 3);
  EXPECT_TRUE(rig.env.keyboardTap.isInstalled());
  EXPECT_FALSE(logHas("Accessibility revoked; dropped the hotkey tap"));
}

TEST(HotkeyHandlerTest, SystemDisableIsRepairedAndTheEventPassesOn) {
  DictationRig rig;
  EXPECT_FALSE(rig.env.keyboardTap.send({KeyEvent::Type::tapDisabledByTimeout}));
  EXPECT_FALSE(rig.env.keyboardTap.send({KeyEvent::Type::tapDisabledByUserInput}));
  EXPECT_EQ(rig.env.keyboardTap.reenables, 2);
  EXPECT_EQ(logCount("hotkey re-enabled after system disable"), 2u);
}

TEST(HotkeyHandlerTest, OnlyTheChosenRightHandKeyTriggersAndModifiersAreNeverSwallowed) {
  DictationRig rig;
  EXPECT_FALSE(rig.env.keyboardTap.flagsChanged(58, 0x80000 | 0x20)); // left Option
  rig.env.queue.runUntilIdle();
  EXPECT_EQ(rig.state(), State::idle);
  // Flags that lost the device bit still count when the key state says the key is down.
  rig.env.keyboardTap.keysDown.insert(kRightOption);
  EXPECT_FALSE(rig.env.keyboardTap.flagsChanged(kRightOption, 0x80000));
  rig.env.queue.runUntilIdle();
  EXPECT_EQ(rig.state(), State::listening);
  EXPECT_TRUE(logHas("trigger down keycode=61 mode=toggle"));
}

TEST(HotkeyHandlerTest, PasteChordMatchesExactlyAndACustomKeyReplacesIt) {
  DictationRig rig;
  struct Case {
    int keyCode;
    std::uint64_t flags;
    bool swallowed;
  } chord[] = {{9, 0x140000, true},
               {9, 0x140000 | 0x20000, false}, // with shift: another chord
               {9, 0x100000, false},
               {8, 0x140000, false}};
  for (const auto &c : chord)
    EXPECT_EQ(rig.env.keyboardTap.keyDown(c.keyCode, c.flags), c.swallowed) << c.flags;

  rig.env.settings.setValue(PrefKey::pasteShortcut, std::string("disabled"));
  EXPECT_FALSE(rig.env.keyboardTap.keyDown(9, 0x140000));

  Prefs::setBinding(KeyBinding{40, 0x40000 | 0x80000}, PrefKey::customPasteKey);
  rig.env.settings.setValue(PrefKey::pasteShortcut, std::string("controlCommandV"));
  EXPECT_FALSE(rig.env.keyboardTap.keyDown(9, 0x140000));
  EXPECT_TRUE(rig.env.keyboardTap.keyDown(40, 0x40000 | 0x80000 | 0x100)); // device bits ignored
  EXPECT_FALSE(rig.env.keyboardTap.keyDown(40, 0x40000));
}

TEST(HotkeyHandlerTest, CustomTriggerAndFeedbackKeys) {
  DictationRig rig;
  Prefs::setBinding(KeyBinding{96, 0}, PrefKey::customTriggerKey);        // F5
  Prefs::setBinding(KeyBinding{97, 0x20000}, PrefKey::customFeedbackKey); // shift-F6
  EXPECT_TRUE(rig.env.keyboardTap.keyDown(96));
  rig.env.queue.runUntilIdle();
  EXPECT_EQ(rig.state(), State::listening);
  rig.speak(3);
  EXPECT_TRUE(rig.env.keyboardTap.keyDown(96)); // a second press finishes, as a toggle
  rig.env.queue.runUntilIdle();
  EXPECT_EQ(rig.state(), State::transcribing);
  rig.task().final("x y");
  rig.settle();

  EXPECT_TRUE(rig.env.keyboardTap.keyDown(97, 0x20000));
  rig.env.queue.runUntilIdle();
  EXPECT_TRUE(logHas("feedback hotkey"));
  EXPECT_EQ(rig.controller->purpose(), DictationController::Purpose::feedback);
  EXPECT_FALSE(rig.env.keyboardTap.keyDown(97)); // without its modifier: not ours
}

TEST(HotkeyHandlerTest, ControlKeyCancelChoicesNeedControl) {
  DictationRig rig;
  rig.env.settings.setValue(PrefKey::cancelKey, std::string("controlPeriod"));
  rig.startSpeaking();
  EXPECT_FALSE(rig.env.keyboardTap.keyDown(VirtualKey::escape));
  EXPECT_FALSE(rig.env.keyboardTap.keyDown(47));
  EXPECT_TRUE(rig.env.keyboardTap.keyDown(47, 0x40000 | 0x20000));
  rig.env.queue.runUntilIdle();
  EXPECT_EQ(rig.pillState(), "Discard?");
  EXPECT_EQ(rig.pillQuestion(), "\u23CE continue   Control . (\u2303.) cancel");
  EXPECT_TRUE(logHas("cancel key controlPeriod: armed to discard while listening"));
}

} // namespace
} // namespace selvar::testing
