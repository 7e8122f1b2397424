#include "platform/linux/LayerShellHudPanel.h"

#include "records/Log.h"

#include <cstring>
#include <gdk/gdkwayland.h>
#include <gtk-layer-shell/gtk-layer-shell.h>
#include <relative-pointer-unstable-v1-client-protocol.h>

namespace selvar {

namespace {

void relativeMotion(void *data, zwp_relative_pointer_v1 *, uint32_t, uint32_t, wl_fixed_t dx,
                    wl_fixed_t dy, wl_fixed_t, wl_fixed_t) {
  static_cast<LayerShellHudPanel *>(data)->addTravel(wl_fixed_to_double(dx),
                                                     wl_fixed_to_double(dy));
}
const zwp_relative_pointer_v1_listener relativeListener{relativeMotion};

void global(void *data, wl_registry *registry, uint32_t name, const char *interface, uint32_t) {
  if (std::strcmp(interface, zwp_relative_pointer_manager_v1_interface.name) != 0) return;
  *static_cast<zwp_relative_pointer_manager_v1 **>(data) =
      static_cast<zwp_relative_pointer_manager_v1 *>(
          wl_registry_bind(registry, name, &zwp_relative_pointer_manager_v1_interface, 1));
}
void globalRemove(void *, wl_registry *, uint32_t) {}
const wl_registry_listener registryListener{global, globalRemove};

} // namespace

LayerShellHudPanel::LayerShellHudPanel(const GdkScreens &screens)
    : GtkHudPanel(screens, &LayerShellHudPanel::prepare) {
  bindRelativePointer();
}

LayerShellHudPanel::~LayerShellHudPanel() {
  if (relative_) zwp_relative_pointer_v1_destroy(relative_);
  if (relativeManager_) zwp_relative_pointer_manager_v1_destroy(relativeManager_);
}

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

// GDK's own connection serves the relative pointer, so its events arrive in order with the
// button and motion events they belong to. The global is looked up on a private queue so
// that nothing of GTK's is dispatched from here.
void LayerShellHudPanel::bindRelativePointer() {
  GdkDisplay *display = gtk_widget_get_display(window());
  if (!display || !GDK_IS_WAYLAND_DISPLAY(display)) return;
  wl_display *connection = gdk_wayland_display_get_wl_display(display);
  wl_event_queue *queue = wl_display_create_queue(connection);
  auto *wrapper = static_cast<wl_display *>(wl_proxy_create_wrapper(connection));
  wl_proxy_set_queue(reinterpret_cast<wl_proxy *>(wrapper), queue);
  wl_registry *registry = wl_display_get_registry(wrapper);
  wl_registry_add_listener(registry, &registryListener, &relativeManager_);
  wl_display_roundtrip_queue(connection, queue);
  if (relativeManager_)
    wl_proxy_set_queue(reinterpret_cast<wl_proxy *>(relativeManager_), nullptr);
  else
    Log::write("wayland: no relative pointer; a dragged pill may lag behind the pointer");
  wl_registry_destroy(registry);
  wl_proxy_wrapper_destroy(wrapper);
  wl_event_queue_destroy(queue);
}

// The seat's pointer comes and goes with pointing devices; the relative one follows it.
void LayerShellHudPanel::followSeatPointer() {
  if (!relativeManager_) return;
  GdkDisplay *display = gtk_widget_get_display(window());
  GdkDevice *device = gdk_seat_get_pointer(gdk_display_get_default_seat(display));
  wl_pointer *current = device ? gdk_wayland_device_get_wl_pointer(device) : nullptr;
  if (current == seatPointer_) return;
  if (relative_) zwp_relative_pointer_v1_destroy(relative_);
  relative_ = nullptr;
  seatPointer_ = current;
  if (!current) return;
  relative_ = zwp_relative_pointer_manager_v1_get_relative_pointer(relativeManager_, current);
  zwp_relative_pointer_v1_add_listener(relative_, &relativeListener, this);
}

void LayerShellHudPanel::addTravel(double dx, double dy) {
  travelX_ += dx;
  travelY_ += dy;
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

// At the press the pill has not moved yet, so its margins and the surface position give the
// pointer's place on the screen.
Point LayerShellHudPanel::pressPointer(double x, double y, double, double) {
  followSeatPointer();
  pressedX_ = topLeft_.x + x;
  pressedY_ = topLeft_.y + y;
  travelX_ = travelY_ = 0;
  return screens().fromRoot(pressedX_, pressedY_);
}

// While the button is held, compositors disagree on what surface positions mean once the
// surface moves: sway keeps measuring from where the surface was at the press, others from
// where it is now (and a move lands a frame later). The travel of the relative pointer means
// the same everywhere.
Point LayerShellHudPanel::pointer(double x, double y, double, double) {
  if (relative_) return screens().fromRoot(pressedX_ + travelX_, pressedY_ + travelY_);
  return screens().fromRoot(topLeft_.x + x, topLeft_.y + y);
}

} // namespace selvar
