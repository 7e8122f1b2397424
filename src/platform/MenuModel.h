#pragma once
// Menus as plain values: the core decides the items, titles and shortcuts; each platform draws
// them and sends the chosen item's action back.

#include <optional>
#include <string>
#include <vector>

namespace selvar {

namespace MenuModifier {
inline constexpr unsigned command = 1u << 0;
inline constexpr unsigned shift = 1u << 1;
inline constexpr unsigned option = 1u << 2;
inline constexpr unsigned control = 1u << 3;
} // namespace MenuModifier

struct KeyEquivalent {
  std::string key; // lower-case character, for example "v"
  unsigned modifiers = MenuModifier::command;
  friend bool operator==(const KeyEquivalent &, const KeyEquivalent &) = default;
};

enum class MenuAction {
  none,
  pasteLastDictation,
  pasteRecent,
  retryFailedDictation,
  openSettings,
  openFeedback,
  quit,
  about,
  checkForUpdates,
  hide,
  undo,
  redo,
  cut,
  copy,
  paste,
  selectAll,
};

struct MenuItem {
  enum class Kind { action, separator, submenu };
  Kind kind = Kind::action;
  std::string title;
  std::optional<KeyEquivalent> keyEquivalent;
  MenuAction action = MenuAction::none;
  int tag = 0;
  std::string representedText; // the full text behind a recent-dictation item
  std::vector<MenuItem> items; // a submenu's items

  static MenuItem separator() {
    MenuItem item;
    item.kind = Kind::separator;
    return item;
  }
  static MenuItem submenu(std::string title) {
    MenuItem item;
    item.kind = Kind::submenu;
    item.title = std::move(title);
    return item;
  }
  static MenuItem command(std::string title, MenuAction action,
                          std::optional<KeyEquivalent> key = std::nullopt) {
    MenuItem item;
    item.title = std::move(title);
    item.action = action;
    item.keyEquivalent = std::move(key);
    return item;
  }
  friend bool operator==(const MenuItem &, const MenuItem &) = default;
};

struct Menu {
  std::string title;
  std::vector<MenuItem> items;
  friend bool operator==(const Menu &, const Menu &) = default;
};

} // namespace selvar
