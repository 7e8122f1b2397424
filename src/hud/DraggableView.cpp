#include "hud/DraggableView.h"

namespace selvar {

void DraggableView::mouseDown(Point mouse, std::optional<Point> windowOrigin) {
  startMouse_ = mouse;
  grabOrigin_ = windowOrigin;
}

void DraggableView::mouseDragged(Point mouse) {
  if (!startMouse_ || !grabOrigin_ || !onDrag) return;
  onDrag({mouse.x - startMouse_->x, mouse.y - startMouse_->y}, *grabOrigin_);
}

void DraggableView::mouseUp() {
  const bool dragging = grabOrigin_.has_value();
  startMouse_.reset();
  grabOrigin_.reset();
  if (dragging && onDragEnd) onDragEnd();
}

} // namespace selvar
