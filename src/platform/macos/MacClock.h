#pragma once
// The clocks on macOS: Core Animation's media time (the host's monotonic clock) and the
// calendar time.

#include "platform/MainQueue.h"

namespace selvar {

class MacClock : public Clock {
public:
  double monotonicSeconds() const override;
  WallTime wallNow() const override;
};

} // namespace selvar
