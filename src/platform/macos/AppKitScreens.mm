#include "platform/macos/AppKitScreens.h"

#include "platform/macos/CocoaGeometry.h"

#import <AppKit/AppKit.h>

namespace selvar {

std::vector<Rect> AppKitScreens::visibleFrames() const {
  std::vector<Rect> frames;
  for (NSScreen *screen in [NSScreen screens])
    frames.push_back(fromNS(screen.visibleFrame));
  return frames;
}

std::optional<Rect> AppKitScreens::mainVisibleFrame() const {
  NSScreen *main = [NSScreen mainScreen];
  if (!main) return std::nullopt;
  return fromNS(main.visibleFrame);
}

} // namespace selvar
