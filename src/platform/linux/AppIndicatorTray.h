#pragma once
// Selvar's status item on a Linux desktop: an AppIndicator (StatusNotifierItem, or the older
// system tray where that is all there is) drawing the core's status menu. Desktop trays only
// ask for the menu once, so it is rebuilt whenever it is shown and whenever its owner says the
// core's menu may have changed (see StatusMenuWatch). A desktop without any tray shows nothing.

#include "platform/MenuModel.h"

#include <filesystem>
#include <functional>
#include <gtk/gtk.h>
#include <string>
#include <vector>

typedef struct _AppIndicator AppIndicator;

namespace selvar {

class AppIndicatorTray {
public:
  using BuildMenu = std::function<std::vector<MenuItem>()>;
  using Chosen = std::function<void(const MenuItem &)>;

  // iconFile: a PNG of the status glyph; its folder becomes the indicator's icon path.
  AppIndicatorTray(const std::filesystem::path &iconFile, BuildMenu build, Chosen chosen);
  ~AppIndicatorTray();
  AppIndicatorTray(const AppIndicatorTray &) = delete;
  AppIndicatorTray &operator=(const AppIndicatorTray &) = delete;

  void setToolTip(const std::string &text);
  // Rebuilds the menu when the core's items differ from what is shown.
  void refresh();

private:
  static void onShow(GtkWidget *, gpointer self);

  BuildMenu build_;
  Chosen chosen_;
  AppIndicator *indicator_ = nullptr;
  GtkWidget *menu_ = nullptr;
  std::vector<MenuItem> shown_;
};

} // namespace selvar
