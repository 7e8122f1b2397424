#pragma once
// The monitors as GDK sees them, in the core's screen coordinates: points with the origin at
// the bottom-left corner of the primary monitor, Y growing upwards. GDK's root coordinates
// (top-left origin, Y down) are flipped here and nowhere else.

#include "platform/Screens.h"

#include <gdk/gdk.h>

namespace selvar {

class GdkScreens : public Screens {
public:
  explicit GdkScreens(GdkDisplay *display);

  // Each monitor's work area (without panels and docks), in GDK's monitor order.
  std::vector<Rect> visibleFrames() const override;
  // The work area of the monitor holding the active window, else the primary monitor's.
  std::optional<Rect> mainVisibleFrame() const override;

  // Root-window coordinates ↔ screen coordinates.
  Point fromRoot(double x, double y) const;
  Rect fromRoot(const GdkRectangle &rect) const;
  // The top-left corner in root coordinates of a rectangle in screen coordinates.
  GdkPoint toRootTopLeft(const Rect &rect) const;

private:
  GdkMonitor *primary() const;
  // The root Y of the primary monitor's bottom edge: screen Y 0.
  double baseline() const;

  GdkDisplay *display_;
};

} // namespace selvar
