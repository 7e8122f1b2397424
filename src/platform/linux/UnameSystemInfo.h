#pragma once
// The system facts on Linux: the kernel's release and machine from uname(2). The app has no
// bundle here, so its build is its version.

#include "platform/SystemInfoSource.h"

#include <string_view>

namespace selvar {

class UnameSystemInfo : public SystemInfoSource {
public:
  SystemInfo current() const override;

  // "6.1.0-18-amd64" → "6.1.0": the first three numbers, missing ones as 0.
  static std::optional<std::string> releaseVersion(std::string_view release);
  // "aarch64" → "arm64", the name the reports use on every platform.
  static std::string architectureName(std::string_view machine);
};

} // namespace selvar
