#pragma once
// The application's main menu: the application menu and the Edit menu that gives the settings
// and feedback windows their editing shortcuts.

#include "platform/MenuModel.h"

#include <vector>

namespace selvar::MainMenu {

// "Check for Updates…" appears only when an updater is available.
std::vector<Menu> build(bool updaterAvailable);

} // namespace selvar::MainMenu
