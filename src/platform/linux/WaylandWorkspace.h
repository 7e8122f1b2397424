#pragma once
// Applications on a Wayland desktop. The protocol keeps each client's focus to itself: nobody
// can ask which application is in front or bring another one forward, so those answers are
// "unknown" and "refused". The running ones are still the processes in /proc. Compositors with
// foreign-toplevel management tell which window is activated and activate one on request:
// there the focus is anchored to that window.

#include "platform/Workspace.h"
#include "platform/linux/WaylandToplevels.h"

namespace selvar {

class WaylandWorkspace : public Workspace {
public:
  std::optional<RunningApp> frontmostApplication() const override { return std::nullopt; }
  std::vector<RunningApp> runningApplications() const override;
  bool isTerminated(int pid) const override;
  std::string ownBundleIdentifier() const override;
  int ownProcessId() const override;
  bool activate(int) override { return false; }
  bool isOwnApplicationActive() const override { return ownsKeyWindow(); }
  bool ownsKeyWindow() const override;
  ElementRef focusedWindow() override;
  bool activateWindow(const ElementRef &window) override { return toplevels_.activate(window); }
  std::optional<std::string> focusRestoreUnavailable() const override {
    return toplevels_.unavailable();
  }
  // No activations are ever seen, so observers are only counted out again.
  Token observeActivations(std::function<void(const RunningApp &)>) override {
    return nextToken_++;
  }
  void removeObserver(Token) override {}
  bool openURL(const std::string &url) override;

private:
  Token nextToken_ = 1;
  WaylandToplevels toplevels_;
};

} // namespace selvar
