#pragma once
// Points, sizes and rectangles in screen points, origin at the bottom left of the main screen
// (the macOS convention; the Linux layer flips its Y axis at the boundary).

namespace selvar {

struct Point {
  double x = 0;
  double y = 0;
  friend bool operator==(const Point &, const Point &) = default;
};

struct Size {
  double width = 0;
  double height = 0;
  friend bool operator==(const Size &, const Size &) = default;
};

struct Rect {
  Point origin;
  Size size;
  double minX() const { return origin.x; }
  double minY() const { return origin.y; }
  double maxX() const { return origin.x + size.width; }
  double maxY() const { return origin.y + size.height; }
  double midX() const { return origin.x + size.width / 2; }
  double midY() const { return origin.y + size.height / 2; }
  bool contains(Point p) const {
    return p.x >= minX() && p.x < maxX() && p.y >= minY() && p.y < maxY();
  }
  friend bool operator==(const Rect &, const Rect &) = default;
};

} // namespace selvar
