#pragma once
// System facts a test chooses.

#include "platform/SystemInfoSource.h"

namespace selvar {

class FakeSystemInfo : public SystemInfoSource {
public:
  SystemInfo current() const override { return info; }
  SystemInfo info{"1.2.3", "45", "14.5.0", "arm64"};
};

} // namespace selvar
