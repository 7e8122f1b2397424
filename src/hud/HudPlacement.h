#pragma once
// Where the pill may sit: the geometry rules behind placing, clamping and screen lookup, kept
// free of any window so they read (and test) as plain arithmetic.

#include "support/Geometry.h"

#include <optional>
#include <span>

namespace selvar::HudPlacement {

inline constexpr double kEdgeMargin = 8;
// A point or frame this close to a screen still belongs to it.
inline constexpr double kScreenTolerance = 40;
inline constexpr double kDefaultLift = 140;

// Keeps a panel of the given size 8 points inside the visible frame; when the panel does not
// fit, the right/top bound wins.
Point clampOrigin(Point origin, Size size, const Rect &visibleFrame);
// Centred horizontally, 140 points above the bottom of the usable area (clear of a dock).
Point defaultOrigin(Size size, const Rect &mainVisibleFrame);
// The first visible frame that, grown by the tolerance, contains the point.
std::optional<Rect> screenContaining(Point point, std::span<const Rect> visibleFrames);
// The first visible frame that, grown by the tolerance, overlaps the frame.
std::optional<Rect> screenIntersecting(const Rect &frame, std::span<const Rect> visibleFrames);

} // namespace selvar::HudPlacement
