#include "app/MainMenu.h"

namespace selvar::MainMenu {

namespace {
MenuItem cmd(const char *title, MenuAction action, const char *key,
             unsigned modifiers = MenuModifier::command) {
  return MenuItem::command(title, action, KeyEquivalent{key, modifiers});
}
} // namespace

std::vector<Menu> build(bool updaterAvailable) {
  Menu app{"Selvar", {MenuItem::command("About Selvar", MenuAction::about)}};
  if (updaterAvailable)
    app.items.push_back(MenuItem::command("Check for Updates…", MenuAction::checkForUpdates));
  app.items.push_back(cmd("Settings…", MenuAction::openSettings, ","));
  app.items.push_back(MenuItem::separator());
  app.items.push_back(cmd("Hide Selvar", MenuAction::hide, "h"));
  app.items.push_back(cmd("Quit Selvar", MenuAction::quit, "q"));

  Menu edit{"Edit",
            {cmd("Undo", MenuAction::undo, "z"),
             cmd("Redo", MenuAction::redo, "z", MenuModifier::command | MenuModifier::shift),
             MenuItem::separator(), cmd("Cut", MenuAction::cut, "x"),
             cmd("Copy", MenuAction::copy, "c"), cmd("Paste", MenuAction::paste, "v"),
             cmd("Select All", MenuAction::selectAll, "a")}};
  return {app, edit};
}

} // namespace selvar::MainMenu
