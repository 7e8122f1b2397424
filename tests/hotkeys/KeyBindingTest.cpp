#include "hotkeys/KeyBinding.h"

#include "app/Prefs.h"
#include "hotkeys/KeyChoices.h"
#include "platform/fake/FakeEnvironment.h"

#include <gtest/gtest.h>

namespace selvar {
namespace {

class KeyBindingTest : public ::testing::Test {
protected:
  KeyBindingTest() {
    env.keyboardLayout.set(40, "k");
    env.keyboardLayout.set(0, "q"); // an AZERTY-like layout: the A position types Q
    env.keyboardLayout.set(41, "é");
    env.keyboardLayout.set(27, "ß");
    env.keyboardLayout.set(53, "\x1b");
    env.keyboardLayout.set(115, "\x01");
    env.keyboardLayout.set(70000, "z");
  }
  FakeEnvironment env;
};

TEST_F(KeyBindingTest, DescribeUsesFixedModifierOrderThenTheKeyName) {
  constexpr auto ctrl = ModifierFlag::control, opt = ModifierFlag::option,
                 shift = ModifierFlag::shift, cmd = ModifierFlag::command;
  struct Case {
    KeyBinding binding;
    const char *expected;
  } cases[] = {
      {{40, ctrl | cmd}, "⌃⌘K"},
      {{40, cmd | shift | opt | ctrl}, "⌃⌥⇧⌘K"},
      {{40, shift | opt}, "⌥⇧K"},
      {{0, 0}, "Q"},
      {{41, 0}, "É"},
      {{27, 0}, "SS"},
      {{93, 0}, "Key 93"},
      {{122, ctrl}, "⌃F1"},
      {{90, 0}, "F20"},
      {{64, 0}, "F17"},
      {{49, opt}, "⌥Space"},
      {{53, 0}, "Esc"},
      {{36, 0}, "Return"},
      {{48, 0}, "Tab"},
      {{51, 0}, "Delete"},
      {{-1, 0}, "Key -1"},
      {{70000, 0}, "Key 70000"},
      // Bits other than the four modifiers add no symbol.
      {{40, 0x10000 | 0x800000}, "K"},
  };
  for (const auto &c : cases)
    EXPECT_EQ(c.binding.describe(), c.expected) << c.binding.keyCode;
}

TEST_F(KeyBindingTest, ControlCharactersFromTheLayoutAreNotNames) {
  // The layout hook reports what the key types; invisible text never becomes a label.
  EXPECT_EQ(KeyBinding::name(115), "Home"); // table first
  env.keyboardLayout.set(10, "\t");
  env.keyboardLayout.set(50, " ");
  env.keyboardLayout.set(42, "");
  env.keyboardLayout.set(44, "\x1c");
  for (int code : {10, 50, 42, 44})
    EXPECT_EQ(KeyBinding::name(code), "Key " + std::to_string(code));
}

TEST(KeyBindingNameTest, NoLayoutInstalledFallsBackToNumbers) {
  FakeEnvironment env;
  auto s = services();
  s.keyboardLayout = nullptr;
  installServices(s);
  EXPECT_EQ(KeyBinding::name(0), "Key 0");
  EXPECT_EQ(KeyBinding::name(122), "F1");
}

TEST(KeyBindingJsonTest, DecodesOnlyWellFormedBindings) {
  KeyBinding b{40, 0x140000};
  EXPECT_EQ(b.toJson(), R"({"keyCode":40,"modifiers":1310720})");
  EXPECT_EQ(KeyBinding::fromJson(b.toJson()), b);
  EXPECT_EQ(KeyBinding::fromJson(R"({"modifiers":0,"keyCode":-3,"extra":[1]})"),
            (KeyBinding{-3, 0}));
  for (const char *bad :
       {"", "null", "[]", "{}", "not json", R"({"keyCode":40})",
        R"({"keyCode":"40","modifiers":0})", R"({"keyCode":40,"modifiers":-1})",
        R"({"keyCode":40,"modifiers":true})", R"({"keyCode":40.5,"modifiers":0})",
        R"({"keyCode":4294967296,"modifiers":0})", R"({"keyCode":40,"modifiers":0)"})
    EXPECT_FALSE(KeyBinding::fromJson(bad)) << bad;
}

TEST_F(KeyBindingTest, PrefsStoreBindingsAsJsonBytesAndPostOnEveryWrite) {
  int posts = 0;
  env.notifications.observe(kTriggerChangedNotification, [&] { ++posts; });
  EXPECT_FALSE(Prefs::binding(PrefKey::customTriggerKey));

  Prefs::setBinding(KeyBinding{40, ModifierFlag::control}, PrefKey::customTriggerKey);
  EXPECT_EQ(posts, 1);
  auto bytes = env.settings.bytesValue(PrefKey::customTriggerKey);
  ASSERT_TRUE(bytes);
  EXPECT_EQ(std::string(bytes->begin(), bytes->end()), R"({"keyCode":40,"modifiers":262144})");
  EXPECT_EQ(Prefs::binding(PrefKey::customTriggerKey), (KeyBinding{40, ModifierFlag::control}));
  EXPECT_FALSE(Prefs::binding(PrefKey::customFeedbackKey));

  Prefs::setBinding(std::nullopt, PrefKey::customTriggerKey);
  EXPECT_EQ(posts, 2);
  EXPECT_FALSE(env.settings.value(PrefKey::customTriggerKey));

  // The JSON as a string, or bytes that are not a binding, read as no binding.
  env.settings.setValue(PrefKey::customPasteKey, std::string(R"({"keyCode":9,"modifiers":0})"));
  EXPECT_FALSE(Prefs::binding(PrefKey::customPasteKey));
  env.settings.setValue(PrefKey::customPasteKey, SettingBytes{0xff, 0x00, 0x7b});
  EXPECT_FALSE(Prefs::binding(PrefKey::customPasteKey));
}

} // namespace
} // namespace selvar
