#pragma once
// The attached displays, as rectangles in screen coordinates (bottom-left origin). A visible
// frame excludes menu bars, docks and panels.

#include "support/Geometry.h"

#include <optional>
#include <vector>

namespace selvar {

class Screens {
public:
  virtual ~Screens() = default;
  // Every screen's visible frame, in the platform's screen order; empty when headless.
  virtual std::vector<Rect> visibleFrames() const = 0;
  // The visible frame of the main screen (the one with the focused window), if any.
  virtual std::optional<Rect> mainVisibleFrame() const = 0;
};

} // namespace selvar
