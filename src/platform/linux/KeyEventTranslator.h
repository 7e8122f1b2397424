#pragma once
// Turns the X server's raw key presses and releases (hardware key codes, no modifier state)
// into the key events the core's tap handler reads: macOS key codes, a flags-changed event for
// every modifier press and release with the flags word the core compares (modifier bits plus
// the left/right device bits), and a key-down for every other press. Releases of ordinary keys
// and repeats of held modifiers are not events, as on the platform the core was written for.

#include "platform/KeyboardTap.h"

#include <optional>
#include <set>

namespace selvar {

class KeyEventTranslator {
public:
  std::optional<KeyEvent> press(int x11KeyCode);
  std::optional<KeyEvent> release(int x11KeyCode);
  // Forgets held keys (the tap was off for a while and missed their releases).
  void reset() { held_.clear(); }

  // The flags word for the modifiers held right now.
  std::uint64_t flags() const;
  bool isHeld(int macKeyCode) const { return held_.count(macKeyCode) != 0; }

  // The bits a modifier key contributes; 0 for other keys.
  static std::uint64_t modifierBits(int macKeyCode);

private:
  std::set<int> held_; // modifier keys down, by mac key code
};

} // namespace selvar
