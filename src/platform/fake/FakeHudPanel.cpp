#include "platform/fake/FakeHudPanel.h"

namespace selvar {

void FakeHudPanel::setFrame(Rect frame) {
  const bool moved = frame.origin != frame_.origin;
  frame_ = frame;
  if (moved && events.moved) events.moved();
}

void FakeHudPanel::setOrigin(Point origin) {
  setFrame({origin, frame_.size});
}

void FakeHudPanel::drag(Point from, const std::vector<Point> &through) {
  if (events.mouseDown) events.mouseDown(from);
  for (Point p : through)
    if (events.mouseDragged) events.mouseDragged(p);
  if (events.mouseUp) events.mouseUp();
}

} // namespace selvar
