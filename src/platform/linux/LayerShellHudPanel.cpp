#include "platform/linux/LayerShellHudPanel.h"

#include <gtk-layer-shell/gtk-layer-shell.h>

namespace selvar {

LayerShellHudPanel::LayerShellHudPanel(const GdkScreens &screens)
    : GtkHudPanel(screens, &LayerShellHudPanel::prepare) {}

bool LayerShellHudPanel::isSupported() {
  return gtk_layer_is_supported();
}

void LayerShellHudPanel::prepare(GtkWindow *window) {
  gtk_layer_init_for_window(window);
  gtk_layer_set_namespace(window, "selvar-pill");
  gtk_layer_set_layer(window, GTK_LAYER_SHELL_LAYER_OVERLAY);
  gtk_layer_set_keyboard_mode(window, GTK_LAYER_SHELL_KEYBOARD_MODE_NONE);
  // Never push tiled windows aside.
  gtk_layer_set_exclusive_zone(window, -1);
  gtk_layer_set_anchor(window, GTK_LAYER_SHELL_EDGE_TOP, TRUE);
  gtk_layer_set_anchor(window, GTK_LAYER_SHELL_EDGE_LEFT, TRUE);
}

// Margins count from the corner of the output the surface is on, so the pill is put on the
// monitor that holds the point.
void LayerShellHudPanel::moveWindow(GdkPoint topLeft) {
  topLeft_ = topLeft;
  GtkWindow *gtkWindow = GTK_WINDOW(window());
  GdkRectangle area{0, 0, 0, 0};
  if (GdkDisplay *display = gtk_widget_get_display(window())) {
    GdkMonitor *monitor = gdk_display_get_monitor_at_point(display, topLeft.x, topLeft.y);
    if (monitor && monitor != monitor_) {
      gtk_layer_set_monitor(gtkWindow, monitor);
      monitor_ = monitor;
    }
    if (monitor) gdk_monitor_get_geometry(monitor, &area);
  }
  gtk_layer_set_margin(gtkWindow, GTK_LAYER_SHELL_EDGE_LEFT, topLeft.x - area.x);
  gtk_layer_set_margin(gtkWindow, GTK_LAYER_SHELL_EDGE_TOP, topLeft.y - area.y);
}

// Event positions are relative to the surface; its corner is where the margins put it.
Point LayerShellHudPanel::pointer(double x, double y, double, double) const {
  return screens().fromRoot(topLeft_.x + x, topLeft_.y + y);
}

} // namespace selvar
