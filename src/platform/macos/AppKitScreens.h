#pragma once
// The attached displays through NSScreen (already in bottom-left screen coordinates).

#include "platform/Screens.h"

namespace selvar {

class AppKitScreens : public Screens {
public:
  std::vector<Rect> visibleFrames() const override;
  std::optional<Rect> mainVisibleFrame() const override;
};

} // namespace selvar
