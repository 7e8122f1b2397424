#pragma once
// What a feedback report may say about the machine it comes from: the app's version and build,
// the operating system's own version (macOS 14.5 rather than the Darwin kernel under it) as
// major.minor.patch, and the processor architecture. Each is absent when the platform cannot
// tell.

#include <optional>
#include <string>

namespace selvar {

struct SystemInfo {
  std::optional<std::string> appVersion, build, osVersion, architecture;
  friend bool operator==(const SystemInfo &, const SystemInfo &) = default;
};

class SystemInfoSource {
public:
  virtual ~SystemInfoSource() = default;
  virtual SystemInfo current() const = 0;
};

} // namespace selvar
