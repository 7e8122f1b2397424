#pragma once
// The pill on Wayland compositors with the layer-shell protocol (wlroots, KDE): an overlay
// surface above every window, anchored to the output's top-left corner and placed by its
// margins, which never takes the keyboard. Wayland tells a client nothing about where its
// windows are, so the pointer's screen position is worked out from the margins the pill was
// given and, during a drag, from how far the pointer has travelled since the press.

#include "platform/linux/GtkHudPanel.h"

struct wl_pointer;
struct zwp_relative_pointer_manager_v1;
struct zwp_relative_pointer_v1;

namespace selvar {

class LayerShellHudPanel : public GtkHudPanel {
public:
  explicit LayerShellHudPanel(const GdkScreens &screens);
  ~LayerShellHudPanel() override;
  // Whether the compositor offers the protocol.
  static bool isSupported();

  // The pointer's travel reported by the compositor, in surface pixels.
  void addTravel(double dx, double dy);

private:
  static void prepare(GtkWindow *window);
  void moveWindow(GdkPoint topLeft) override;
  Point pressPointer(double x, double y, double rootX, double rootY) override;
  Point pointer(double x, double y, double rootX, double rootY) override;
  void bindRelativePointer();
  void followSeatPointer();

  GdkPoint topLeft_{0, 0};
  GdkMonitor *monitor_ = nullptr;
  zwp_relative_pointer_manager_v1 *relativeManager_ = nullptr;
  zwp_relative_pointer_v1 *relative_ = nullptr;
  wl_pointer *seatPointer_ = nullptr;
  // Where the press was on the screen, and the travel counted since.
  double pressedX_ = 0;
  double pressedY_ = 0;
  double travelX_ = 0;
  double travelY_ = 0;
};

} // namespace selvar
