#include "platform/linux/VirtualKeyChord.h"

#include "hotkeys/KeyChoices.h"
#include "platform/linux/MacKeyCodes.h"

#include <linux/input-event-codes.h>

namespace selvar {

std::optional<VirtualKeyChord> planChord(int macKeyCode, std::uint64_t flags,
                                         const ModifierMasks &masks) {
  auto key = MacKeyCodes::evdevFromMac(macKeyCode);
  if (!key) return std::nullopt;

  struct Modifier {
    std::uint32_t key;
    std::uint32_t mask;
  };
  std::vector<Modifier> modifiers;
  if (flags & (ModifierFlag::command | ModifierFlag::control))
    modifiers.push_back({KEY_LEFTCTRL, masks.control});
  if (flags & ModifierFlag::shift) modifiers.push_back({KEY_LEFTSHIFT, masks.shift});
  if (flags & ModifierFlag::option) modifiers.push_back({KEY_LEFTALT, masks.alt});

  VirtualKeyChord chord;
  std::uint32_t held = 0;
  for (const auto &m : modifiers) {
    held |= m.mask;
    chord.press.push_back({m.key, true, held});
  }
  auto main = static_cast<std::uint32_t>(*key);
  chord.press.push_back({main, true, held});
  chord.release.push_back({main, false, held});
  for (auto it = modifiers.rbegin(); it != modifiers.rend(); ++it) {
    held &= ~it->mask;
    chord.release.push_back({it->key, false, held});
  }
  return chord;
}

} // namespace selvar
