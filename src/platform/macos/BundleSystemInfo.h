#pragma once
// The system facts on macOS: version and build from the main bundle's information dictionary,
// the system version from NSProcessInfo (uname would give the Darwin kernel's).

#include "platform/SystemInfoSource.h"

namespace selvar {

class BundleSystemInfo : public SystemInfoSource {
public:
  SystemInfo current() const override;
};

} // namespace selvar
