#include "app/StatusMenu.h"

#include "app/MainMenu.h"

#include <gtest/gtest.h>

namespace selvar {
namespace {

std::string repeat(std::string_view unit, std::size_t n) {
  std::string s;
  for (std::size_t i = 0; i < n; ++i)
    s += unit;
  return s;
}

TEST(StatusMenuTest, MenuTitleCutsFromFiftyFiveCharactersOn) {
  struct Case {
    std::string text;
    std::string title;
  } cases[] = {
      {repeat("a", 53), repeat("a", 53)},
      {repeat("a", 54), repeat("a", 54)},
      {repeat("a", 55), repeat("a", 53) + "…"},
      {"  two\n\nlines\t here ", "two lines here"},
      // Characters are what the user sees: an accented letter or a flag counts once.
      {repeat("e\u0301", 54), repeat("e\u0301", 54)},
      {repeat("🇸🇪", 55), repeat("🇸🇪", 53) + "…"},
      {"\u00a0\u2003padded\u3000", "padded"},
  };
  for (const auto &c : cases)
    EXPECT_EQ(StatusMenu::menuTitle(c.text), c.title) << c.text;
}

TEST(StatusMenuTest, LongMultiLineHistoryTextBecomesOneLineOfFiftyFour) {
  std::string text;
  for (int i = 0; i < 20; ++i)
    text += "word" + std::to_string(i % 10) + "\n ";
  text.resize(200, 'x');
  std::string title = StatusMenu::menuTitle(text);
  EXPECT_EQ(title.find('\n'), std::string::npos);
  EXPECT_EQ(title.substr(0, 12), "word0 word1 ");
  EXPECT_EQ(title.size(), 53 + std::string("…").size());
}

std::vector<std::string> titles(const std::vector<MenuItem> &items) {
  std::vector<std::string> out;
  for (const auto &i : items)
    out.push_back(i.kind == MenuItem::Kind::separator ? "-" : i.title);
  return out;
}

TEST(StatusMenuTest, ItemsFollowTheStateOfHistoryChordAndKeptRecording) {
  using V = std::vector<std::string>;
  auto empty = StatusMenu::build({});
  EXPECT_EQ(titles(empty),
            (V{"Paste Last Dictation", "-", "Settings…", "Send Feedback…", "-", "Quit Selvar"}));
  EXPECT_FALSE(empty[0].keyEquivalent) << "a disabled chord shows no shortcut";
  EXPECT_EQ(empty[0].action, MenuAction::pasteLastDictation);
  EXPECT_EQ(empty[2].keyEquivalent, KeyEquivalent{","});
  EXPECT_EQ(empty[5].keyEquivalent, KeyEquivalent{"q"});

  StatusMenuState state;
  state.pasteLastKey = KeyEquivalent{"v", MenuModifier::control | MenuModifier::command};
  for (int i = 0; i < 8; ++i)
    state.recentTexts.push_back("dictation " + std::to_string(i));
  state.failedRecordingKept = true;
  auto full = StatusMenu::build(state);
  EXPECT_EQ(titles(full), (V{"Paste Last Dictation", "Recent Dictations", "Retry Failed Dictation",
                             "-", "Settings…", "Send Feedback…", "-", "Quit Selvar"}));
  EXPECT_EQ(full[0].keyEquivalent, state.pasteLastKey);
  const auto &recent = full[1].items;
  ASSERT_EQ(recent.size(), 6u);
  EXPECT_EQ(recent[5].tag, 5);
  EXPECT_EQ(recent[5].representedText, "dictation 5");
  EXPECT_EQ(recent[0].action, MenuAction::pasteRecent);
  EXPECT_EQ(full[2].action, MenuAction::retryFailedDictation);
}

TEST(StatusMenuTest, ToolTipNamesTheGestureAndTheKey) {
  EXPECT_EQ(StatusMenu::toolTip(TriggerMode::hold, "Right Option"),
            "Selvar — hold Right Option to dictate");
  EXPECT_EQ(StatusMenu::toolTip(TriggerMode::automatic, "Fn / Globe"),
            "Selvar — tap Fn / Globe to dictate");
}

TEST(MainMenuTest, UpdateItemOnlyWithAnUpdater) {
  auto has = [](const std::vector<Menu> &menus) {
    for (const auto &item : menus.at(0).items)
      if (item.action == MenuAction::checkForUpdates) return true;
    return false;
  };
  EXPECT_TRUE(has(MainMenu::build(true)));
  EXPECT_FALSE(has(MainMenu::build(false)));
  auto edit = MainMenu::build(false).at(1);
  EXPECT_EQ(edit.items.at(1).keyEquivalent,
            (KeyEquivalent{"z", MenuModifier::command | MenuModifier::shift}));
}

} // namespace
} // namespace selvar
