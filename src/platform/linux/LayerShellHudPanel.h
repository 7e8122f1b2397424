#pragma once
// The pill on Wayland compositors with the layer-shell protocol (wlroots, KDE): an overlay
// surface above every window, anchored to the output's top-left corner and placed by its
// margins, which never takes the keyboard. Wayland tells a client nothing about where its
// windows are, so the pointer's screen position is worked out from the margins the pill was
// given.

#include "platform/linux/GtkHudPanel.h"

namespace selvar {

class LayerShellHudPanel : public GtkHudPanel {
public:
  explicit LayerShellHudPanel(const GdkScreens &screens);
  // Whether the compositor offers the protocol.
  static bool isSupported();

private:
  static void prepare(GtkWindow *window);
  void moveWindow(GdkPoint topLeft) override;
  Point pointer(double x, double y, double rootX, double rootY) const override;

  GdkPoint topLeft_{0, 0};
  GdkMonitor *monitor_ = nullptr;
};

} // namespace selvar
