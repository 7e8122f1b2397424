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
#include "platform/linux/LinuxDesktop.h"
#include "platform/linux/LinuxFileLocations.h"
#include "platform/linux/LockFileSingleInstance.h"
#include "platform/linux/PosixProcessRunner.h"
#include "platform/linux/SessionBackend.h"
#include "platform/linux/SoxrAudioConverter.h"
#include "platform/linux/UnameSystemInfo.h"
#include "platform/linux/UnixSocketControlChannel.h"
#include "platform/linux/XdgAutostartLoginItem.h"
#include "platform/linux/XkbKeyboardLayout.h"
#include "records/Log.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <glib-unix.h>
#include <glib.h>
#include <gtk/gtk.h>

namespace {

using namespace selvar;

std::filesystem::path ownExecutable(const char *argv0) {
  std::error_code ec;
  auto exe = std::filesystem::read_symlink("/proc/self/exe", ec);
  return ec ? std::filesystem::absolute(argv0, ec) : exe;
}

gboolean onQuitSignal(gpointer host) {
  static_cast<AppHost *>(host)->terminate();
  return G_SOURCE_CONTINUE;
}

// GTK talks to the same display server as the adapters chosen for the session.
bool openDisplay(int &argc, char **&argv) {
  setenv("GDK_BACKEND", std::string(SessionBackends::name(SessionBackends::current())).c_str(), 0);
  // Nothing here draws with OpenGL; probing for it maps the GL driver (tens of megabytes).
  setenv("GDK_GL", "disable", 0);
  if (gtk_init_check(&argc, &argv)) return true;
  std::fputs("selvar: cannot open the display (neither WAYLAND_DISPLAY nor DISPLAY is usable).\n"
             "Selvar needs an X11 or Wayland desktop; scripts/demo-headless.sh runs without one.\n",
             stderr);
  return false;
}

void installCoreServices(LinuxDesktop &desktop) {
  static LinuxFileLocations files;
  static NotificationCenter notifications;
  static GLibMainQueue mainQueue;
  static JsonFileSettingsStore settings(files.configDir() / JsonFileSettingsStore::kFileName);
  static XkbKeyboardLayout keyboardLayout;
  static KissDsp dsp;
  static PosixProcessRunner processes;
  static SoxrAudioConverterFactory converters;
  static UnameSystemInfo systemInfo;
  Services s;
  s.files = &files;
  s.notifications = &notifications;
  s.mainQueue = &mainQueue;
  s.clock = &mainQueue;
  s.settings = &settings;
  s.keyboardLayout = &keyboardLayout;
  s.dsp = &dsp;
  s.processes = &processes;
  s.audioConverters = &converters;
  s.systemInfo = &systemInfo;
  desktop.install(s);
  installServices(s);
  // No on-device recognizer, system language model or Fn key on Linux desktops.
  // The rewrite server is the llama.cpp recipe under tools/ rather than MLX.
  setPlatformCapabilities({false, false, "Linux", false, true,
                           "./tools/setup-rewrite.sh   # once, then: tools/rewrite-server.sh"});
}

} // namespace

int main(int argc, char **argv) {
  auto options = CommandLineOptions::parse(std::vector<std::string>(argv, argv + argc));
  if (auto answer = options.immediateAnswer()) {
    std::fputs(answer->c_str(), stdout);
    return 0;
  }
  const auto socketFile =
      UnixSocketControlChannel::besideLock(LockFileSingleInstance::defaultLockFile());
  UnixSocketControlChannel control(socketFile);
  if (options.control) {
    auto outcome = sendControlCommand(control, *options.control);
    std::fputs(outcome.message.c_str(), stderr);
    return outcome.exitStatus;
  }
  if (!openDisplay(argc, argv)) return 1;
  // A clipboard reader that closes its pipe early must cost a failed write, not the process.
  std::signal(SIGPIPE, SIG_IGN);

  LinuxDesktop desktop;
  installCoreServices(desktop);
  static XdgAutostartLoginItem loginItem(XdgAutostartLoginItem::defaultAutostartDir(),
                                         ownExecutable(argv[0]));
  installShellServices({&loginItem, nullptr});

  GMainLoop *loop = g_main_loop_new(nullptr, FALSE);
  LinuxAppHost host([loop] { g_main_loop_quit(loop); });
  desktop.useStatusMenuOf(host);
  LockFileSingleInstance instance(LockFileSingleInstance::defaultLockFile());
  CairoIconRenderer icons;
  LiveSubsystems::Parts parts;
  parts.iconRenderer = &icons;
  parts.makeController = [&desktop] { return desktop.makeController(); };
  parts.makeHUD = [&desktop] { return desktop.makeHUD(); };
  parts.openSettings = [&desktop](bool expanded) { desktop.openSettings(expanded); };
  LiveSubsystems subsystems(std::move(parts));
  AppDelegate delegate(host, subsystems, instance, std::move(options));

  g_unix_signal_add(SIGINT, onQuitSignal, &host);
  g_unix_signal_add(SIGTERM, onQuitSignal, &host);
  g_unix_signal_add(SIGHUP, onQuitSignal, &host);
  services().mainQueue->async([&] {
    delegate.applicationDidFinishLaunching();
    if (!delegate.isRunning()) {
      // Started again by hand (a launcher, a desktop without a tray): show the running copy.
      if (argc == 1) control.send(AppDelegate::kShowSettingsWord);
      return;
    }
    control.listen([&delegate](const std::string &word) { return delegate.controlCommand(word); });
    desktop.showTray(host, icons);
    desktop.announceSession();
  });
  g_main_loop_run(loop);
  delegate.applicationWillTerminate();
  Log::flush();
  g_main_loop_unref(loop);
  return 0;
}
