#pragma once
// Terminal emulators take Ctrl+V as a control character; they paste with Ctrl+Shift+V. Known
// by the class of their windows.

#include <string_view>

namespace selvar::TerminalClasses {

// Compared without regard to case: "XTerm", "gnome-terminal-server", "kitty", …
bool isTerminal(std::string_view windowClass);

} // namespace selvar::TerminalClasses
