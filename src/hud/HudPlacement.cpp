#include "hud/HudPlacement.h"

#include <algorithm>

namespace selvar::HudPlacement {

namespace {

Rect grown(const Rect &r, double by) {
  return {{r.minX() - by, r.minY() - by}, {r.size.width + 2 * by, r.size.height + 2 * by}};
}

// Empty rectangles never intersect anything, as on the desktop platforms.
bool intersects(const Rect &a, const Rect &b) {
  if (a.size.width <= 0 || a.size.height <= 0 || b.size.width <= 0 || b.size.height <= 0)
    return false;
  return a.minX() < b.maxX() && b.minX() < a.maxX() && a.minY() < b.maxY() && b.minY() < a.maxY();
}

} // namespace

Point clampOrigin(Point origin, Size size, const Rect &v) {
  return {
      std::min(std::max(v.minX() + kEdgeMargin, origin.x), v.maxX() - size.width - kEdgeMargin),
      std::min(std::max(v.minY() + kEdgeMargin, origin.y), v.maxY() - size.height - kEdgeMargin)};
}

Point defaultOrigin(Size size, const Rect &main) {
  return {main.midX() - size.width / 2, main.minY() + kDefaultLift};
}

std::optional<Rect> screenContaining(Point point, std::span<const Rect> visibleFrames) {
  for (const auto &frame : visibleFrames)
    if (grown(frame, kScreenTolerance).contains(point)) return frame;
  return std::nullopt;
}

std::optional<Rect> screenIntersecting(const Rect &panel, std::span<const Rect> visibleFrames) {
  for (const auto &frame : visibleFrames)
    if (intersects(grown(frame, kScreenTolerance), panel)) return frame;
  return std::nullopt;
}

} // namespace selvar::HudPlacement
