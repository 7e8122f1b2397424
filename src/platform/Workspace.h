#pragma once
// The running applications as the window system sees them: which one is frontmost, which are
// running, activating one, and being told when the frontmost one changes.

#include "platform/Accessibility.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace selvar {

struct RunningApp {
  int pid = 0;
  std::string bundleId; // empty when the application has none (Linux: the executable name)
  std::string name;     // localized name shown to users
  friend bool operator==(const RunningApp &, const RunningApp &) = default;
};

class Workspace {
public:
  using Token = std::uint64_t;
  virtual ~Workspace() = default;
  virtual std::optional<RunningApp> frontmostApplication() const = 0;
  virtual std::vector<RunningApp> runningApplications() const = 0;
  virtual bool isTerminated(int pid) const = 0;
  virtual std::string ownBundleIdentifier() const = 0;
  virtual int ownProcessId() const = 0;
  // Brings the application forward; false when it could not be asked to.
  virtual bool activate(int pid) = 0;
  // Brings the application forward over every other one, with window (an accessibility
  // element of it, possibly none) as its front window: focus restoration before a paste. An
  // application with several windows must come forward with the anchored one, not with
  // whichever the window system would pick for the application as a whole.
  virtual bool activateIgnoringOtherApps(int pid, const ElementRef &window) {
    (void)window;
    return activate(pid);
  }
  // Where the window system names windows but not the processes behind them (Wayland), the
  // focus is anchored to a window rather than to an application. The window that has the
  // keyboard focus, other than this process's own, as a handle activateWindow takes back;
  // nothing where windows are not known apart from their applications, or none is focused.
  virtual ElementRef focusedWindow() { return nullptr; }
  // Gives the keyboard focus back to a window focusedWindow() returned; false when it has
  // closed or the window system could not be asked.
  virtual bool activateWindow(const ElementRef &window) {
    (void)window;
    return false;
  }
  // Why no focus can be put back at all in this session; nothing where it can.
  virtual std::optional<std::string> focusRestoreUnavailable() const { return std::nullopt; }
  // Whether this process is the active application.
  virtual bool isOwnApplicationActive() const {
    auto front = frontmostApplication();
    return front && front->pid == ownProcessId();
  }
  // Whether this process currently has a key (focused) window of its own.
  virtual bool ownsKeyWindow() const = 0;
  // Called on the main thread whenever another application becomes frontmost.
  virtual Token observeActivations(std::function<void(const RunningApp &)> handler) = 0;
  virtual void removeObserver(Token token) = 0;
  // Opens a URL with the system's handler (settings panes, folders).
  virtual bool openURL(const std::string &url) = 0;
};

} // namespace selvar
