#include "platform/linux/X11Workspace.h"

#include "platform/linux/LinuxProcesses.h"
#include "platform/linux/X11Accessibility.h"
#include "platform/linux/X11EventSource.h"
#include "platform/linux/X11Support.h"
#include "records/Log.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <gio/gio.h>
#include <gtk/gtk.h>
#include <unistd.h>

namespace selvar {

X11Workspace::X11Workspace() : display_(XOpenDisplay(nullptr)) {}

X11Workspace::~X11Workspace() {
  if (watch_) g_source_remove(watch_);
  if (display_) XCloseDisplay(display_);
}

// The name users know an application by: its window class ("Firefox") when it has a window,
// else its executable's name.
RunningApp X11Workspace::describe(int pid, Window window) const {
  RunningApp app{pid, LinuxProcesses::name(pid), {}};
  if (display_ && window != None) app.name = X11Windows::windowClass(display_, window);
  if (app.name.empty()) app.name = app.bundleId;
  return app;
}

std::optional<RunningApp> X11Workspace::frontmostApplication() const {
  if (!display_) return std::nullopt;
  const Window window = X11Windows::activeWindow(display_);
  auto pid = X11Windows::processId(display_, window);
  if (!pid) return std::nullopt;
  return describe(*pid, window);
}

std::vector<RunningApp> X11Workspace::runningApplications() const {
  return LinuxProcesses::running();
}

bool X11Workspace::isTerminated(int pid) const {
  return LinuxProcesses::isTerminated(pid);
}

std::string X11Workspace::ownBundleIdentifier() const {
  return LinuxProcesses::name(getpid());
}

int X11Workspace::ownProcessId() const {
  return getpid();
}

bool X11Workspace::activate(int pid) {
  if (!display_) return false;
  const Window window = X11Windows::frontWindowOf(display_, pid);
  if (window == None) return false;
  X11Windows::requestActivation(display_, window);
  return true;
}

// A window manager activates windows, not applications: the anchored window is the one.
bool X11Workspace::activateIgnoringOtherApps(int pid, const ElementRef &window) {
  auto *anchored = dynamic_cast<const X11WindowElement *>(window.get());
  if (!display_ || !anchored || anchored->pid != pid ||
      !X11Windows::exists(display_, anchored->window))
    return activate(pid);
  X11Windows::requestActivation(display_, anchored->window);
  return true;
}

// The pill never takes the focus, so any focused window of this process is a real one
// (settings, feedback).
bool X11Workspace::ownsKeyWindow() const {
  GList *windows = gtk_window_list_toplevels();
  bool focused = false;
  for (GList *w = windows; w && !focused; w = w->next)
    focused = gtk_window_is_active(GTK_WINDOW(w->data));
  g_list_free(windows);
  return focused;
}

Workspace::Token X11Workspace::observeActivations(std::function<void(const RunningApp &)> handler) {
  const Token token = nextToken_++;
  observers_[token] = std::move(handler);
  watchActiveWindow();
  return token;
}

void X11Workspace::removeObserver(Token token) {
  observers_.erase(token);
}

void X11Workspace::watchActiveWindow() {
  if (watch_ || !display_) return;
  XSelectInput(display_, DefaultRootWindow(display_), PropertyChangeMask);
  XFlush(display_);
  if (auto front = frontmostApplication()) lastFrontPid_ = front->pid;
  watch_ = X11EventSource::add(display_, onEvents, this);
}

void X11Workspace::activeWindowChanged() {
  auto front = frontmostApplication();
  if (!front || front->pid == lastFrontPid_) return;
  lastFrontPid_ = front->pid;
  auto observers = observers_; // a handler may remove itself
  for (const auto &[token, handler] : observers)
    handler(*front);
}

gboolean X11Workspace::onEvents(gpointer self) {
  auto *workspace = static_cast<X11Workspace *>(self);
  Display *display = workspace->display_;
  const Atom active = X11Windows::atom(display, "_NET_ACTIVE_WINDOW");
  bool changed = false;
  while (XPending(display)) {
    XEvent event;
    XNextEvent(display, &event);
    changed |= event.type == PropertyNotify && event.xproperty.atom == active;
  }
  if (changed) workspace->activeWindowChanged();
  return G_SOURCE_CONTINUE;
}

bool X11Workspace::openURL(const std::string &url) {
  GError *error = nullptr;
  const bool ok = g_app_info_launch_default_for_uri(url.c_str(), nullptr, &error);
  if (!ok) {
    Log::write("open url failed: " + url + ": " + (error ? error->message : "unknown error"));
    g_clear_error(&error);
  }
  return ok;
}

} // namespace selvar
