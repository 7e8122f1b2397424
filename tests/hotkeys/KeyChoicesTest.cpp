#include "hotkeys/KeyChoices.h"

#include "app/Prefs.h"
#include "hotkeys/KeyBinding.h"
#include "hud/HUDPresentation.h"
#include "platform/PlatformCapabilities.h"
#include "platform/fake/FakeEnvironment.h"

#include <gtest/gtest.h>

namespace selvar {
namespace {

class KeyChoicesTest : public ::testing::Test {
protected:
  FakeEnvironment env;
};

TEST_F(KeyChoicesTest, StoredChoicesMatchRawValuesExactlyAndNeverWriteBack) {
  EXPECT_EQ(TriggerStore::current(), Trigger::rightOption);
  EXPECT_EQ(CancelKeyStore::current(), CancelKey::escape);
  EXPECT_EQ(PasteShortcutStore::current(), PasteShortcut::controlCommandV);
  env.settings.setValue(PrefKey::trigger, std::string("fnGlobe"));
  EXPECT_EQ(TriggerStore::current(), Trigger::fnGlobe);
  env.settings.setValue(PrefKey::trigger, std::string("fnglobe"));
  EXPECT_EQ(TriggerStore::current(), Trigger::rightOption);
  env.settings.setValue(PrefKey::trigger, std::int64_t{3});
  EXPECT_EQ(TriggerStore::current(), Trigger::rightOption);
  env.settings.setValue(PrefKey::cancelKey, std::string("controlSlash"));
  EXPECT_EQ(CancelKeyStore::current(), CancelKey::controlSlash);
  env.settings.setValue(PrefKey::pasteShortcut, std::string("Disabled"));
  EXPECT_EQ(PasteShortcutStore::current(), PasteShortcut::controlCommandV);
  EXPECT_EQ(env.settings.writeCount(), 5u);
}

TEST_F(KeyChoicesTest, WritesPostTheirNotificationsInOrder) {
  std::vector<std::string> posted;
  env.notifications.observe(kTriggerChangedNotification, [&] { posted.push_back("trigger"); });
  env.notifications.observe(kCancelKeyChangedNotification, [&] { posted.push_back("cancel"); });

  CancelKeyStore::setCurrent(CancelKey::controlPeriod);
  EXPECT_EQ(posted, (std::vector<std::string>{"trigger", "cancel"}));
  EXPECT_EQ(env.settings.stringValue(PrefKey::cancelKey), "controlPeriod");

  posted.clear();
  TriggerStore::setCurrent(Trigger::rightCommand);
  EXPECT_EQ(posted, std::vector<std::string>{"trigger"});
  EXPECT_EQ(TriggerStore::current(), Trigger::rightCommand);

  posted.clear();
  PasteShortcutStore::setCurrent(PasteShortcut::commandShiftV);
  EXPECT_TRUE(posted.empty());
  EXPECT_EQ(env.settings.stringValue(PrefKey::pasteShortcut), "commandShiftV");
}

TEST(TriggerRecognitionTest, FlagsChangedEvents) {
  constexpr EventFlags option = ModifierFlag::option, command = ModifierFlag::command;
  struct Case {
    Trigger trigger;
    int keyCode;
    EventFlags flags;
    bool keyStatePressed;
    std::optional<bool> expected;
  } cases[] = {
      // Right Option pressed and released.
      {Trigger::rightOption, 61, option | 0x40, false, true},
      {Trigger::rightOption, 61, 0x100, false, false},
      // Left Option (key 58, left device bit 0x20) is never the trigger.
      {Trigger::rightOption, 58, option | 0x20, true, std::nullopt},
      // Left Option released while Right Option is still held: flags keep the right bit, but
      // the event is about key 58.
      {Trigger::rightOption, 58, option | 0x40, true, std::nullopt},
      // The key state alone is enough when the device bit is missing.
      {Trigger::rightOption, 61, option, true, true},
      {Trigger::rightCommand, 54, command | 0x10, false, true},
      {Trigger::rightCommand, 55, command | 0x08, false, std::nullopt},
      {Trigger::rightControl, 62, ModifierFlag::control | 0x2000, false, true},
      {Trigger::rightControl, 59, ModifierFlag::control | 0x1, false, std::nullopt},
      {Trigger::fnGlobe, 63, 0x800000, false, true},
      {Trigger::fnGlobe, 63, 0, false, false},
  };
  for (const auto &c : cases) {
    auto state = triggerState(c.trigger, c.keyCode, c.flags,
                              [&](int code) { return c.keyStatePressed && code == c.keyCode; });
    EXPECT_EQ(state, c.expected) << rawValue(c.trigger) << " key " << c.keyCode << " flags "
                                 << std::hex << c.flags;
  }
}

TEST(TriggerRecognitionTest, KeyStateIsAskedOnlyWhenTheFlagsDoNotSayDown) {
  int asked = 0;
  auto query = [&](int) {
    ++asked;
    return false;
  };
  EXPECT_EQ(triggerState(Trigger::rightOption, 61, 0x80040, query), true);
  EXPECT_EQ(asked, 0);
  EXPECT_EQ(triggerState(Trigger::rightOption, 61, 0, query), false);
  EXPECT_EQ(asked, 1);
  EXPECT_EQ(triggerState(Trigger::rightOption, 61, 0, nullptr), false);
}

TEST(KeyMatchingTest, CancelKeysAndPasteChords) {
  constexpr EventFlags ctrl = ModifierFlag::control, cmd = ModifierFlag::command,
                       shift = ModifierFlag::shift, opt = ModifierFlag::option;
  EXPECT_TRUE(matches(CancelKey::escape, 53, 0));
  EXPECT_TRUE(matches(CancelKey::escape, 53, cmd | shift));
  EXPECT_FALSE(matches(CancelKey::escape, 47, ctrl));
  EXPECT_TRUE(matches(CancelKey::controlPeriod, 47, ctrl));
  EXPECT_TRUE(matches(CancelKey::controlPeriod, 47, ctrl | shift)); // other bits not examined
  EXPECT_FALSE(matches(CancelKey::controlPeriod, 47, cmd));
  EXPECT_FALSE(matches(CancelKey::controlSlash, 47, ctrl));
  EXPECT_TRUE(matches(CancelKey::controlSlash, 44, ctrl));

  EXPECT_TRUE(matches(PasteShortcut::controlCommandV, 9, ctrl | cmd));
  // Device bits and caps lock outside the chord mask do not matter; extra modifiers do.
  EXPECT_TRUE(matches(PasteShortcut::controlCommandV, 9, ctrl | cmd | 0x10008 | 0x1));
  EXPECT_FALSE(matches(PasteShortcut::controlCommandV, 9, ctrl | cmd | shift));
  EXPECT_FALSE(matches(PasteShortcut::controlCommandV, 8, ctrl | cmd));
  EXPECT_TRUE(matches(PasteShortcut::controlOptionV, 9, ctrl | opt));
  EXPECT_TRUE(matches(PasteShortcut::commandShiftV, 9, cmd | shift));
  EXPECT_FALSE(matches(PasteShortcut::commandShiftV, 9, cmd));
  for (EventFlags flags : {EventFlags{0}, ctrl | cmd, ctrl | opt, cmd | shift})
    EXPECT_FALSE(matches(PasteShortcut::disabled, 9, flags));
}

// On a PC keyboard every text that names a key uses the names printed on it; the Mac's names
// and symbols stay the default.
TEST_F(KeyChoicesTest, KeysAreNamedAsTheKeyboardPrintsThem) {
  struct Case {
    bool pc;
    std::string trigger, shortTrigger, cancel, paste, custom, hint;
  };
  const Case cases[] = {
      {false, "Right Option (⌥)", "Right Option", "Control . (⌃.)", "⌃⌘V", "⌃⌥⇧⌘F1", "⌥ to stop"},
      {true, "Right Alt", "Right Alt", "Ctrl+.", "Ctrl+Super+V", "Ctrl+Alt+Shift+Super+F1",
       "Right Alt to stop"},
  };
  for (const Case &c : cases) {
    PlatformCapabilities capabilities;
    capabilities.pcKeyNames = c.pc;
    setPlatformCapabilities(capabilities);
    EXPECT_EQ(label(Trigger::rightOption), c.trigger);
    EXPECT_EQ(shortLabel(Trigger::rightOption), c.shortTrigger);
    EXPECT_EQ(label(CancelKey::controlPeriod), c.cancel);
    EXPECT_EQ(label(PasteShortcut::controlCommandV), c.paste);
    KeyBinding custom{122, ModifierFlag::control | ModifierFlag::option | ModifierFlag::shift |
                               ModifierFlag::command};
    EXPECT_EQ(custom.describe(), c.custom);
    EXPECT_EQ(hintLine(TriggerMode::toggle, triggerHintSymbol("rightOption")), c.hint);
  }
  setPlatformCapabilities({});
}

} // namespace
} // namespace selvar
