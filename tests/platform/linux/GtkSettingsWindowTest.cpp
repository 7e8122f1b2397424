// The settings window's own status menu. On a desktop that shows no tray (GNOME) it is the only
// way to the menu's actions, so it must offer what the tray would at the moment it opens, and
// route a choice exactly as the tray does.
//
// GTK binds itself to one display for the life of the process, and this one dies with the
// test, so the window lives in a child process (a threadsafe death test) that exits 0 only
// when every check held and otherwise says which failed.

#include "platform/linux/GtkSettingsWindow.h"

#include "app/StatusMenu.h"
#include "platform/fake/FakeEnvironment.h"
#include "platform/linux/PrivateXServer.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <iostream>

namespace selvar {
namespace {

void check(bool held, const char *what) {
  if (held) return;
  std::cerr << "failed: " << what << std::endl;
  std::_Exit(1);
}

GtkWidget *findMenuButton(GtkWidget *widget) {
  if (GTK_IS_MENU_BUTTON(widget)) return widget;
  if (!GTK_IS_CONTAINER(widget)) return nullptr;
  GList *children = gtk_container_get_children(GTK_CONTAINER(widget));
  GtkWidget *found = nullptr;
  for (GList *child = children; child && !found; child = child->next)
    found = findMenuButton(GTK_WIDGET(child->data));
  g_list_free(children);
  return found;
}

GtkWidget *itemTitled(GtkWidget *menu, const std::string &title) {
  GList *children = gtk_container_get_children(GTK_CONTAINER(menu));
  GtkWidget *found = nullptr;
  for (GList *child = children; child && !found; child = child->next) {
    auto *item = GTK_WIDGET(child->data);
    if (GTK_IS_MENU_ITEM(item) && gtk_menu_item_get_label(GTK_MENU_ITEM(item)) &&
        title == gtk_menu_item_get_label(GTK_MENU_ITEM(item)))
      found = item;
  }
  g_list_free(children);
  return found;
}

// Opens the menu the way a click does and hands back what it shows.
GtkWidget *openMenu(GtkWidget *button) {
  gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(button), FALSE);
  gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(button), TRUE);
  return GTK_WIDGET(gtk_menu_button_get_popup(GTK_MENU_BUTTON(button)));
}

void exerciseTitleBarMenu() {
  setenv("NO_AT_BRIDGE", "1", 1); // no accessibility bus to reach
  check(gtk_init_check(nullptr, nullptr), "GTK opens the private display");
  FakeEnvironment env;
  StatusMenuState state;
  std::vector<MenuAction> chosen;
  std::string pastedRecent;
  SettingsModel model;
  GtkSettingsWindow window(model, {},
                           {[&state] { return StatusMenu::build(state); },
                            [&](const MenuItem &item) {
                              chosen.push_back(item.action);
                              if (item.action == MenuAction::pasteRecent)
                                pastedRecent = item.representedText;
                            }});
  window.present(false);
  GtkWidget *toplevel = GTK_WIDGET(gtk_window_list_toplevels()->data);
  GtkWidget *button = findMenuButton(gtk_window_get_titlebar(GTK_WINDOW(toplevel)));
  check(button != nullptr, "the title bar has a menu button");

  GtkWidget *menu = openMenu(button);
  check(itemTitled(menu, "Send Feedback…") && itemTitled(menu, "Quit Selvar"),
        "the first opening shows the status menu");
  check(!itemTitled(menu, "Retry Failed Dictation"), "no retry without a kept recording");

  // What changed since the last opening shows at the next one.
  state.failedRecordingKept = true;
  state.recentTexts = {"the quarterly report goes out on Friday"};
  menu = openMenu(button);
  GtkWidget *retry = itemTitled(menu, "Retry Failed Dictation");
  GtkWidget *recent = itemTitled(menu, "Recent Dictations");
  check(retry && recent, "a later opening shows the items of that moment");
  gtk_menu_item_activate(GTK_MENU_ITEM(retry));
  GtkWidget *recentMenu = gtk_menu_item_get_submenu(GTK_MENU_ITEM(recent));
  GList *recentItems = gtk_container_get_children(GTK_CONTAINER(recentMenu));
  check(recentItems != nullptr, "the recent dictation is listed");
  gtk_menu_item_activate(GTK_MENU_ITEM(recentItems->data));
  g_list_free(recentItems);
  gtk_menu_item_activate(GTK_MENU_ITEM(itemTitled(menu, "Quit Selvar")));
  // Choices are handed over once GTK is done with the item.
  for (int i = 0; i < 100 && g_main_context_iteration(nullptr, FALSE); ++i) {
  }
  check((chosen ==
         std::vector{MenuAction::retryFailedDictation, MenuAction::pasteRecent, MenuAction::quit}),
        "choices reach the shell as the tray's would");
  check(pastedRecent == "the quarterly report goes out on Friday", "the full text is pasted");
  // Past the leak checker: GTK keeps its toolkit state for the life of the process.
  std::_Exit(0);
}

TEST(GtkSettingsWindowTest, TheTitleBarMenuIsTheStatusMenuOfTheMomentAndRoutesChoices) {
  testing::PrivateXServer server;
  if (server.name().empty()) GTEST_SKIP() << "Xvfb is not available";
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(exerciseTitleBarMenu(), ::testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace selvar
