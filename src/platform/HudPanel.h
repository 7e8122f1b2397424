#pragma once
// The pill's window as the HUD logic sees it: a borderless panel that floats above everything
// on every workspace and never takes focus. The platform draws the hosted model and reports
// mouse and move events; the HUD decides where the panel goes and when it shows.

#include "app/Prefs.h"
#include "support/Geometry.h"

#include <functional>

namespace selvar {

class HUDModel;

class HudPanel {
public:
  struct Events {
    // Mouse positions in screen coordinates (bottom-left origin), not window deltas.
    std::function<void(Point mouse)> mouseDown;
    std::function<void(Point mouse)> mouseDragged;
    std::function<void()> mouseUp;
    // The panel's origin changed, for whatever reason (a drag, a placement, the system).
    std::function<void()> moved;
  };

  virtual ~HudPanel() = default;

  // Draws the pill from the model and redraws on its changes until unhosted.
  virtual void host(HUDModel &model) = 0;
  // The hosted model is going away: stop observing and drawing it.
  virtual void unhost() {}
  virtual void setEventHandlers(Events events) = 0;

  virtual Rect frame() const = 0;
  virtual void setFrame(Rect frame) = 0;
  virtual void setOrigin(Point origin) = 0;
  // The size the hosted content wants after a layout pass; 0×0 before it has content.
  virtual Size fittingSize() = 0;
  virtual void setCornerRadius(double radius) = 0;
  // The translucent surface behind the content.
  virtual void setBackdrop(HUDMaterial material) = 0;

  virtual bool isVisible() const = 0;
  // Brings the panel to the front without activating the application.
  virtual void orderFront() = 0;
  virtual void orderOut() = 0;
};

} // namespace selvar
