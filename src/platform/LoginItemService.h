#pragma once
// Starting Selvar when the user logs in: the system's login-item registration on macOS, an
// autostart entry on Linux desktops.

#include <optional>
#include <string>

namespace selvar {

class LoginItemService {
public:
  virtual ~LoginItemService() = default;
  virtual bool isEnabled() const = 0;
  // Each returns the reason it failed, or nothing on success.
  virtual std::optional<std::string> registerItem() = 0;
  virtual std::optional<std::string> unregisterItem() = 0;
};

} // namespace selvar
