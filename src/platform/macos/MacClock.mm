#include "platform/macos/MacClock.h"

#import <QuartzCore/QuartzCore.h>

namespace selvar {

double MacClock::monotonicSeconds() const {
  return CACurrentMediaTime();
}

WallTime MacClock::wallNow() const {
  return std::chrono::system_clock::now();
}

} // namespace selvar
