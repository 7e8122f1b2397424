#pragma once
// The paste chord as the steps a virtual keyboard sends: each modifier key pressed in turn, the
// key, then everything released in reverse order. A virtual keyboard's modifier state is not
// derived from its keys by the compositor, so every step carries the modifier mask that holds
// once it has happened.

#include <cstdint>
#include <optional>
#include <vector>

namespace selvar {

// The keymap's bits for the modifiers a chord may use.
struct ModifierMasks {
  std::uint32_t control = 0;
  std::uint32_t shift = 0;
  std::uint32_t alt = 0;
};

struct VirtualKeyStep {
  std::uint32_t evdevKey = 0;
  bool pressed = false;
  std::uint32_t modifiers = 0; // depressed modifiers after this step
  friend bool operator==(const VirtualKeyStep &, const VirtualKeyStep &) = default;
};

struct VirtualKeyChord {
  std::vector<VirtualKeyStep> press;   // up to and including the key going down
  std::vector<VirtualKeyStep> release; // from the key going up
};

// Command and Control both become Ctrl, Option becomes Alt. Nothing when the key has no evdev
// code.
std::optional<VirtualKeyChord> planChord(int macKeyCode, std::uint64_t flags,
                                         const ModifierMasks &masks);

} // namespace selvar
