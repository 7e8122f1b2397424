#pragma once
// Translation between the macOS virtual key codes the core speaks and the Linux key codes of the
// same physical key: evdev codes (linux/input-event-codes.h) and X11 key codes (evdev + 8, only
// up to 255). Covers the ANSI keyboard, the ISO and JIS extras, the keypad, F1 to F20, the
// navigation block and both hands of every modifier.

#include <optional>

namespace selvar::MacKeyCodes {

std::optional<int> evdevFromMac(int macKeyCode);
std::optional<int> macFromEvdev(int evdevCode);
std::optional<int> x11FromMac(int macKeyCode);
std::optional<int> macFromX11(int x11KeyCode);

} // namespace selvar::MacKeyCodes
