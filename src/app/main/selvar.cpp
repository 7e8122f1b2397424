// Selvar's entry point on Linux. Start-up proper lives in the application shell; this file
// only installs the platform services and hands over.

#include "platform/NotificationCenter.h"
#include "platform/Services.h"
#include "platform/linux/GLibMainQueue.h"
#include "platform/linux/JsonFileSettingsStore.h"
#include "platform/linux/LinuxFileLocations.h"
#include "platform/linux/XkbKeyboardLayout.h"
#include "records/Log.h"

#include <cstdio>
#include <cstring>

int main(int argc, char **argv) {
  using namespace selvar;
  for (int i = 1; i < argc; ++i)
    if (std::strcmp(argv[i], "--version") == 0) {
      std::printf("selvar %s\n", SELVAR_VERSION);
      return 0;
    }
  static LinuxFileLocations files;
  static NotificationCenter notifications;
  static GLibMainQueue mainQueue;
  static JsonFileSettingsStore settings(files.configDir() / JsonFileSettingsStore::kFileName);
  static XkbKeyboardLayout keyboardLayout;
  Services s;
  s.files = &files;
  s.notifications = &notifications;
  s.mainQueue = &mainQueue;
  s.clock = &mainQueue;
  s.settings = &settings;
  s.keyboardLayout = &keyboardLayout;
  installServices(s);
  Log::install(false);
  Log::write("launch: selvar " SELVAR_VERSION);
  Log::flush();
  std::printf("selvar %s: the desktop shell is not built yet\n", SELVAR_VERSION);
  return 0;
}
