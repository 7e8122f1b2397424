#include "platform/linux/KeyEventTranslator.h"

#include "hotkeys/KeyChoices.h"
#include "platform/linux/MacKeyCodes.h"

namespace selvar {

namespace {

// The device-dependent bits that tell the left and right hand of a modifier apart.
namespace DeviceBit {
constexpr std::uint64_t leftControl = 0x1, leftShift = 0x2, rightShift = 0x4, leftCommand = 0x8,
                        rightCommand = 0x10, leftOption = 0x20, rightOption = 0x40,
                        rightControl = 0x2000;
} // namespace DeviceBit

struct Modifier {
  int macKeyCode;
  std::uint64_t bits;
};

constexpr Modifier kModifiers[] = {
    {56, ModifierFlag::shift | DeviceBit::leftShift},
    {60, ModifierFlag::shift | DeviceBit::rightShift},
    {59, ModifierFlag::control | DeviceBit::leftControl},
    {62, ModifierFlag::control | DeviceBit::rightControl},
    {58, ModifierFlag::option | DeviceBit::leftOption},
    {61, ModifierFlag::option | DeviceBit::rightOption},
    {55, ModifierFlag::command | DeviceBit::leftCommand},
    {54, ModifierFlag::command | DeviceBit::rightCommand},
};

} // namespace

std::uint64_t KeyEventTranslator::modifierBits(int macKeyCode) {
  for (const Modifier &m : kModifiers)
    if (m.macKeyCode == macKeyCode) return m.bits;
  return 0;
}

std::uint64_t KeyEventTranslator::flags() const {
  std::uint64_t flags = 0;
  for (int key : held_)
    flags |= modifierBits(key);
  return flags;
}

std::optional<KeyEvent> KeyEventTranslator::press(int x11KeyCode) {
  auto mac = MacKeyCodes::macFromX11(x11KeyCode);
  if (!mac) return std::nullopt;
  if (!modifierBits(*mac)) return KeyEvent{KeyEvent::Type::keyDown, *mac, flags()};
  if (!held_.insert(*mac).second) return std::nullopt; // a held modifier repeating
  return KeyEvent{KeyEvent::Type::flagsChanged, *mac, flags()};
}

std::optional<KeyEvent> KeyEventTranslator::release(int x11KeyCode) {
  auto mac = MacKeyCodes::macFromX11(x11KeyCode);
  if (!mac || !modifierBits(*mac)) return std::nullopt;
  if (!held_.erase(*mac)) return std::nullopt;
  return KeyEvent{KeyEvent::Type::flagsChanged, *mac, flags()};
}

} // namespace selvar
