#pragma once
// The platform services only the application shell uses. The entry point installs them next
// to the common services; members a platform lacks stay null.

namespace selvar {

class LoginItemService;
class UpdaterService;

struct ShellServices {
  LoginItemService *loginItem = nullptr;
  UpdaterService *updater = nullptr;
};

ShellServices &shellServices();
void installShellServices(const ShellServices &s);

} // namespace selvar
