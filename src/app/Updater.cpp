#include "app/Updater.h"

#include "platform/ShellServices.h"
#include "platform/UpdaterService.h"

namespace selvar::Updater {

bool isAvailable() {
  return shellServices().updater != nullptr;
}

void checkForUpdates() {
  if (UpdaterService *updater = shellServices().updater) updater->checkForUpdates();
}

} // namespace selvar::Updater
