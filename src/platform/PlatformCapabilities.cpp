#include "platform/PlatformCapabilities.h"

namespace selvar {

namespace {
PlatformCapabilities &storage() {
  static PlatformCapabilities capabilities;
  return capabilities;
}
} // namespace

const PlatformCapabilities &platformCapabilities() {
  return storage();
}
void setPlatformCapabilities(const PlatformCapabilities &capabilities) {
  storage() = capabilities;
}

} // namespace selvar
