#pragma once
// A custom key the user recorded (custom trigger, feedback and paste-last keys): a macOS virtual
// key code and the modifier bits of the key event, stored as the JSON {"keyCode":…,
// "modifiers":…}.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace selvar {

struct KeyBinding {
  int keyCode = 0;
  std::uint64_t modifiers = 0;

  // Modifier symbols in the fixed order ⌃⌥⇧⌘, then the key's name: "⌃⌥K".
  std::string describe() const;
  // "F1", "Space", …; else the character the key types, upper-cased; else "Key 93".
  static std::string name(int keyCode);

  std::string toJson() const;
  // Nothing unless the text is an object with an integer "keyCode" and a non-negative integer
  // "modifiers"; other members are ignored.
  static std::optional<KeyBinding> fromJson(std::string_view text);

  friend bool operator==(const KeyBinding &, const KeyBinding &) = default;
};

namespace Prefs {
// The binding stored under key; a missing key or data that does not decode reads as none.
std::optional<KeyBinding> binding(const char *key);
// Stores the binding's JSON as bytes (or removes the key for none) and posts
// "Selvar.triggerChanged".
void setBinding(const std::optional<KeyBinding> &binding, const char *key);
} // namespace Prefs

} // namespace selvar
