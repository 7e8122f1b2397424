#pragma once
// Applications on an X11 desktop: the frontmost one is the owner (_NET_WM_PID) of the active
// window (_NET_ACTIVE_WINDOW), the running ones are the processes in /proc, an application's
// identifier is its executable's short name, and activating one asks the window manager to
// activate its front window, or the given one. Main thread only.

#include "platform/Workspace.h"

#include <X11/Xlib.h>
#include <glib.h>
#include <map>

namespace selvar {

class X11Workspace : public Workspace {
public:
  X11Workspace();
  ~X11Workspace() override;
  X11Workspace(const X11Workspace &) = delete;
  X11Workspace &operator=(const X11Workspace &) = delete;

  std::optional<RunningApp> frontmostApplication() const override;
  std::vector<RunningApp> runningApplications() const override;
  bool isTerminated(int pid) const override;
  std::string ownBundleIdentifier() const override;
  int ownProcessId() const override;
  bool activate(int pid) override;
  bool activateIgnoringOtherApps(int pid, const ElementRef &window) override;
  bool ownsKeyWindow() const override;
  Token observeActivations(std::function<void(const RunningApp &)> handler) override;
  void removeObserver(Token token) override;
  bool openURL(const std::string &url) override;

private:
  RunningApp describe(int pid, Window window) const;
  void watchActiveWindow();
  void activeWindowChanged();
  static gboolean onEvents(gpointer self);

  Display *display_;
  guint watch_ = 0;
  std::optional<int> lastFrontPid_;
  std::map<Token, std::function<void(const RunningApp &)>> observers_;
  Token nextToken_ = 1;
};

} // namespace selvar
