#include "platform/linux/WaylandWorkspace.h"

#include "records/Log.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gio/gio.h>
#include <gtk/gtk.h>
#include <unistd.h>

namespace selvar {

namespace {

std::string commandName(int pid) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/comm");
  std::string name;
  std::getline(in, name);
  return name;
}

} // namespace

std::vector<RunningApp> WaylandWorkspace::runningApplications() const {
  std::vector<RunningApp> apps;
  std::error_code error;
  for (const auto &entry : std::filesystem::directory_iterator("/proc", error)) {
    const std::string name = entry.path().filename().string();
    if (name.empty() || name.find_first_not_of("0123456789") != std::string::npos) continue;
    const int pid = std::stoi(name);
    std::string command = commandName(pid);
    if (!command.empty()) apps.push_back({pid, command, command});
  }
  return apps;
}

bool WaylandWorkspace::isTerminated(int pid) const {
  return pid <= 0 || (kill(pid, 0) != 0 && errno == ESRCH);
}

std::string WaylandWorkspace::ownBundleIdentifier() const {
  return commandName(getpid());
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
