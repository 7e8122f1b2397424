#include "platform/ShellServices.h"

namespace selvar {

ShellServices &shellServices() {
  static ShellServices s;
  return s;
}

void installShellServices(const ShellServices &s) {
  shellServices() = s;
}

} // namespace selvar
