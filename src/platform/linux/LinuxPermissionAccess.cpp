#include "platform/linux/LinuxPermissionAccess.h"

#include "platform/linux/DisplaySession.h"

namespace selvar {

bool LinuxPermissionAccess::accessibilityTrusted() const {
  return DisplaySession::hasX11Display();
}

} // namespace selvar
