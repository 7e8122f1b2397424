#pragma once
// The current keyboard layout, asked for the character a key types, so key bindings can be
// named the way the user's keyboard labels them.

#include <optional>
#include <string>

namespace selvar {

class KeyboardLayout {
public:
  virtual ~KeyboardLayout() = default;
  // The UTF-8 text the key with this macOS virtual key code types without modifiers in the
  // active layout (possibly a control character); nothing when the key types no text, has no
  // counterpart on this platform or no layout is known.
  virtual std::optional<std::string> characterForKeyCode(int macKeyCode) const = 0;
};

} // namespace selvar
