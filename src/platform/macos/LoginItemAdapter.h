#pragma once
// Launch at login through the system's registration of the main application
// (SMAppService.mainAppService).

#include "platform/LoginItemService.h"

namespace selvar {

class LoginItemAdapter : public LoginItemService {
public:
  bool isEnabled() const override;
  std::optional<std::string> registerItem() override;
  std::optional<std::string> unregisterItem() override;
};

} // namespace selvar
