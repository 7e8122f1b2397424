#include "platform/macos/LoginItemAdapter.h"

#include "platform/macos/ObjCBridge.h"

#import <ServiceManagement/ServiceManagement.h>

namespace selvar {

bool LoginItemAdapter::isEnabled() const {
  return [SMAppService mainAppService].status == SMAppServiceStatusEnabled;
}

std::optional<std::string> LoginItemAdapter::registerItem() {
  NSError *error = nil;
  if ([[SMAppService mainAppService] registerAndReturnError:&error]) return std::nullopt;
  return describe(error);
}

std::optional<std::string> LoginItemAdapter::unregisterItem() {
  NSError *error = nil;
  if ([[SMAppService mainAppService] unregisterAndReturnError:&error]) return std::nullopt;
  return describe(error);
}

} // namespace selvar
