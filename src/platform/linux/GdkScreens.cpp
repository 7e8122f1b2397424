#include "platform/linux/GdkScreens.h"

#include <cmath>

namespace selvar {

GdkScreens::GdkScreens(GdkDisplay *display) : display_(display) {}

GdkMonitor *GdkScreens::primary() const {
  if (!display_) return nullptr;
  GdkMonitor *monitor = gdk_display_get_primary_monitor(display_);
  return monitor ? monitor : gdk_display_get_monitor(display_, 0);
}

double GdkScreens::baseline() const {
  GdkMonitor *monitor = primary();
  if (!monitor) return 0;
  GdkRectangle geometry;
  gdk_monitor_get_geometry(monitor, &geometry);
  return geometry.y + geometry.height;
}

Point GdkScreens::fromRoot(double x, double y) const {
  return {x, baseline() - y};
}

Rect GdkScreens::fromRoot(const GdkRectangle &rect) const {
  return {{double(rect.x), baseline() - rect.y - rect.height},
          {double(rect.width), double(rect.height)}};
}

GdkPoint GdkScreens::toRootTopLeft(const Rect &rect) const {
  return {int(std::lround(rect.minX())), int(std::lround(baseline() - rect.maxY()))};
}

std::vector<Rect> GdkScreens::visibleFrames() const {
  std::vector<Rect> frames;
  if (!display_) return frames;
  const int count = gdk_display_get_n_monitors(display_);
  for (int i = 0; i < count; ++i) {
    GdkRectangle area;
    gdk_monitor_get_workarea(gdk_display_get_monitor(display_, i), &area);
    frames.push_back(fromRoot(area));
  }
  return frames;
}

std::optional<Rect> GdkScreens::mainVisibleFrame() const {
  if (!display_) return std::nullopt;
  GdkMonitor *monitor = nullptr;
  // GDK still answers this from _NET_ACTIVE_WINDOW; there is no newer call for it.
  G_GNUC_BEGIN_IGNORE_DEPRECATIONS
  if (GdkWindow *active = gdk_screen_get_active_window(gdk_display_get_default_screen(display_))) {
    monitor = gdk_display_get_monitor_at_window(display_, active);
    g_object_unref(active);
  }
  G_GNUC_END_IGNORE_DEPRECATIONS
  if (!monitor) monitor = primary();
  if (!monitor) return std::nullopt;
  GdkRectangle area;
  gdk_monitor_get_workarea(monitor, &area);
  return fromRoot(area);
}

} // namespace selvar
