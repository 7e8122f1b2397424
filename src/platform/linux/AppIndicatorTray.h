#pragma once
// Selvar's status item on a Linux desktop: an AppIndicator (StatusNotifierItem, or the older
// system tray where that is all there is) drawing the core's status menu. Desktop trays only
// ask for the menu once, so it is rebuilt whenever it is shown and, between showings, whenever
// the core's menu changed. A desktop without any tray simply shows nothing.

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
  static gboolean onTick(gpointer self);
  static void onShow(GtkWidget *, gpointer self);

  BuildMenu build_;
  Chosen chosen_;
  AppIndicator *indicator_ = nullptr;
  GtkWidget *menu_ = nullptr;
  std::vector<MenuItem> shown_;
  guint tick_ = 0;
};

} // namespace selvar
