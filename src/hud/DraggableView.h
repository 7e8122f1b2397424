#pragma once
// Drag handling of the pill's content view. It works from mouse positions in screen coordinates
// rather than event deltas, so the pill stays exactly under the pointer however the window
// moves underneath it.

#include "support/Geometry.h"

#include <functional>
#include <optional>

namespace selvar {

class DraggableView {
public:
  std::function<void(Point delta, Point grabOrigin)> onDrag;
  std::function<void()> onDragEnd;

  // windowOrigin is the window's frame origin, absent when the view has no window.
  void mouseDown(Point mouse, std::optional<Point> windowOrigin);
  void mouseDragged(Point mouse);
  void mouseUp();

  std::optional<Point> grabOrigin() const { return grabOrigin_; }

private:
  std::optional<Point> grabOrigin_;
  std::optional<Point> startMouse_;
};

} // namespace selvar
