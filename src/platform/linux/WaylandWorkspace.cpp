#include "platform/linux/WaylandWorkspace.h"

#include "platform/linux/LinuxProcesses.h"
#include "records/Log.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gio/gio.h>
#include <gtk/gtk.h>
#include <unistd.h>

namespace selvar {

std::vector<RunningApp> WaylandWorkspace::runningApplications() const {
  return LinuxProcesses::running();
}

bool WaylandWorkspace::isTerminated(int pid) const {
  return LinuxProcesses::isTerminated(pid);
}

std::string WaylandWorkspace::ownBundleIdentifier() const {
  return LinuxProcesses::name(getpid());
}

int WaylandWorkspace::ownProcessId() const {
  return getpid();
}

bool WaylandWorkspace::ownsKeyWindow() const {
  GList *windows = gtk_window_list_toplevels();
  bool focused = false;
  for (GList *w = windows; w && !focused; w = w->next)
    focused = gtk_window_is_active(GTK_WINDOW(w->data));
  g_list_free(windows);
  return focused;
}

// GTK names this process's windows after the program unless told otherwise.
ElementRef WaylandWorkspace::focusedWindow() {
  const char *prgname = g_get_prgname();
  return toplevels_.activated(prgname ? prgname : "");
}

bool WaylandWorkspace::openURL(const std::string &url) {
  GError *error = nullptr;
  const bool ok = g_app_info_launch_default_for_uri(url.c_str(), nullptr, &error);
  if (!ok) {
    Log::write("open url failed: " + url + ": " + (error ? error->message : "unknown error"));
    g_clear_error(&error);
  }
  return ok;
}

} // namespace selvar
