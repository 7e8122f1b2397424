#pragma once
// Builds GTK menus from the core's menu values: titles, separators, submenus and the key
// equivalent shown beside an item. Choosing an item hands the item's value back.

#include "platform/MenuModel.h"

#include <functional>
#include <gtk/gtk.h>
#include <vector>

namespace selvar::GtkMenuBuilder {

// Fills menu (emptied first) with the items.
void fill(GtkMenuShell *menu, const std::vector<MenuItem> &items,
          std::function<void(const MenuItem &)> chosen);

// The GDK modifier mask of a key equivalent; on Linux the menu's Command is the Super key.
GdkModifierType modifiers(const KeyEquivalent &key);

} // namespace selvar::GtkMenuBuilder
