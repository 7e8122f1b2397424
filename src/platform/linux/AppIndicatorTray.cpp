#include "platform/linux/AppIndicatorTray.h"

#include "platform/linux/GtkMenuBuilder.h"

#ifdef SELVAR_HAVE_APPINDICATOR
#include <libayatana-appindicator/app-indicator.h>
#endif

namespace selvar {

AppIndicatorTray::AppIndicatorTray(const std::filesystem::path &iconFile, BuildMenu build,
                                   Chosen chosen)
    : build_(std::move(build)), chosen_(std::move(chosen)) {
  menu_ = gtk_menu_new();
  g_object_ref_sink(menu_);
  g_signal_connect(menu_, "show", G_CALLBACK(onShow), this);
#ifdef SELVAR_HAVE_APPINDICATOR
  indicator_ = app_indicator_new("selvar", iconFile.stem().c_str(),
                                 APP_INDICATOR_CATEGORY_APPLICATION_STATUS);
  app_indicator_set_icon_theme_path(indicator_, iconFile.parent_path().c_str());
  app_indicator_set_title(indicator_, "Selvar");
  app_indicator_set_status(indicator_, APP_INDICATOR_STATUS_ACTIVE);
#else
  (void)iconFile;
#endif
  refresh();
#ifdef SELVAR_HAVE_APPINDICATOR
  app_indicator_set_menu(indicator_, GTK_MENU(menu_));
#endif
}

AppIndicatorTray::~AppIndicatorTray() {
#ifdef SELVAR_HAVE_APPINDICATOR
  if (indicator_) g_object_unref(indicator_);
#endif
  g_object_unref(menu_);
}

void AppIndicatorTray::setToolTip(const std::string &text) {
#ifdef SELVAR_HAVE_APPINDICATOR
  app_indicator_set_title(indicator_, text.c_str());
#else
  (void)text;
#endif
}

void AppIndicatorTray::refresh() {
  std::vector<MenuItem> items = build_ ? build_() : std::vector<MenuItem>{};
  if (items == shown_ && !shown_.empty()) return;
  shown_ = std::move(items);
  GtkMenuBuilder::fill(GTK_MENU_SHELL(menu_), shown_, chosen_);
}

void AppIndicatorTray::onShow(GtkWidget *, gpointer self) {
  static_cast<AppIndicatorTray *>(self)->refresh();
}

} // namespace selvar
