// Selvar's entry point on Linux: installs the platform services, hands the process to the
// application delegate and runs the GLib main loop until a quit is requested.

#include "app/AppDelegate.h"
#include "app/LiveSubsystems.h"
#include "platform/NotificationCenter.h"
#include "platform/PlatformCapabilities.h"
#include "platform/Services.h"
#include "platform/ShellServices.h"
#include "platform/linux/CairoIconRenderer.h"
#include "platform/linux/GLibMainQueue.h"
#include "platform/linux/JsonFileSettingsStore.h"
#include "platform/linux/KissDsp.h"
#include "platform/linux/LinuxAppHost.h"
#include "platform/linux/LinuxFileLocations.h"
#include "platform/linux/LockFileSingleInstance.h"
#include "platform/linux/XdgAutostartLoginItem.h"
#include "platform/linux/XkbKeyboardLayout.h"
#include "records/Log.h"

#include <csignal>
#include <cstdio>
#include <glib-unix.h>
#include <glib.h>

namespace {

std::filesystem::path ownExecutable(const char *argv0) {
  std::error_code ec;
  auto exe = std::filesystem::read_symlink("/proc/self/exe", ec);
  return ec ? std::filesystem::absolute(argv0, ec) : exe;
}

gboolean onQuitSignal(gpointer host) {
  static_cast<selvar::AppHost *>(host)->terminate();
  return G_SOURCE_CONTINUE;
}

} // namespace

int main(int argc, char **argv) {
  using namespace selvar;
  auto options = CommandLineOptions::parse(std::vector<std::string>(argv, argv + argc));
  if (options.help) {
    std::fputs(CommandLineOptions::helpText().c_str(), stdout);
    return 0;
  }
  if (options.version) {
    std::printf("selvar %s\n", SELVAR_VERSION);
    return 0;
  }

  static LinuxFileLocations files;
  static NotificationCenter notifications;
  static GLibMainQueue mainQueue;
  static JsonFileSettingsStore settings(files.configDir() / JsonFileSettingsStore::kFileName);
  static XkbKeyboardLayout keyboardLayout;
  static KissDsp dsp;
  Services s;
  s.files = &files;
  s.notifications = &notifications;
  s.mainQueue = &mainQueue;
  s.clock = &mainQueue;
  s.settings = &settings;
  s.keyboardLayout = &keyboardLayout;
  s.dsp = &dsp;
  installServices(s);
  // No on-device recognizer or system language model on Linux desktops.
  setPlatformCapabilities({false, false});

  static XdgAutostartLoginItem loginItem(XdgAutostartLoginItem::defaultAutostartDir(),
                                         ownExecutable(argv[0]));
  installShellServices({&loginItem, nullptr});

  GMainLoop *loop = g_main_loop_new(nullptr, FALSE);
  LinuxAppHost host([loop] { g_main_loop_quit(loop); });
  LockFileSingleInstance instance(LockFileSingleInstance::defaultLockFile());
  CairoIconRenderer icons;
  LiveSubsystems::Parts parts;
  parts.iconRenderer = &icons;
  parts.redirectStandardError = false;
  LiveSubsystems subsystems(std::move(parts));
  AppDelegate delegate(host, subsystems, instance, std::move(options));

  g_unix_signal_add(SIGINT, onQuitSignal, &host);
  g_unix_signal_add(SIGTERM, onQuitSignal, &host);
  g_unix_signal_add(SIGHUP, onQuitSignal, &host);
  mainQueue.async([&delegate] { delegate.applicationDidFinishLaunching(); });
  g_main_loop_run(loop);
  delegate.applicationWillTerminate();
  Log::flush();
  g_main_loop_unref(loop);
  return 0;
}
