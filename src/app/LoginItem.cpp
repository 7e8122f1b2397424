#include "app/LoginItem.h"

#include "app/Prefs.h"
#include "platform/LoginItemService.h"
#include "platform/ShellServices.h"
#include "records/Log.h"

namespace selvar::LoginItem {

bool set(bool enabled) {
  LoginItemService *service = shellServices().loginItem;
  if (!service) return false;
  if (service->isEnabled() == enabled) return enabled;
  auto error = enabled ? service->registerItem() : service->unregisterItem();
  if (error)
    Log::write(std::string("login item ") + (enabled ? "register" : "unregister") +
               " failed: " + *error);
  return service->isEnabled();
}

void enforcePreference() {
  LoginItemService *service = shellServices().loginItem;
  if (!service) return;
  bool wanted = Prefs::launchAtLogin();
  if (wanted == service->isEnabled()) return;
  Log::write(std::string("login item enforced to ") + (wanted ? "true" : "false"));
  set(wanted);
}

} // namespace selvar::LoginItem
