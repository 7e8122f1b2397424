#pragma once
// A desk of pretend applications for tests: which are running, which is frontmost, and a log of
// activations (which also make the activated application frontmost).

#include "platform/Workspace.h"

#include <map>
#include <set>

namespace selvar {

class FakeWorkspace : public Workspace {
public:
  FakeWorkspace();

  std::optional<RunningApp> frontmostApplication() const override;
  std::vector<RunningApp> runningApplications() const override { return apps; }
  bool isTerminated(int pid) const override;
  std::string ownBundleIdentifier() const override { return self.bundleId; }
  int ownProcessId() const override { return self.pid; }
  bool activate(int pid) override;
  bool activateIgnoringOtherApps(int pid, const ElementRef &window) override;
  bool ownsKeyWindow() const override { return hasKeyWindow; }
  ElementRef focusedWindow() override { return frontWindow; }
  bool activateWindow(const ElementRef &window) override;
  std::optional<std::string> focusRestoreUnavailable() const override { return noFocusRestore; }
  Token observeActivations(std::function<void(const RunningApp &)> handler) override;
  void removeObserver(Token token) override;
  bool openURL(const std::string &url) override;

  // Adds a running application and returns it.
  RunningApp launch(int pid, std::string bundleId, std::string name);
  // Makes the application frontmost and tells the observers.
  void bringToFront(int pid);
  void terminate(int pid) { terminated.insert(pid); }

  RunningApp self{4242, "app.selvar.Selvar", "Selvar"};
  std::vector<RunningApp> apps;
  std::optional<int> frontPid;
  std::set<int> terminated;
  bool hasKeyWindow = false;
  // Off: activation requests are recorded but nothing comes forward (a stubborn window system).
  bool activationsTakeEffect = true;
  struct Activation {
    int pid;
    bool ignoringOtherApps;
    ElementRef window; // the window asked to come forward with the application
  };
  std::vector<Activation> activations;
  std::vector<std::string> openedURLs;
  // Windows as a window system that names no processes shows them: the focused one, the ones
  // closed since, and every window asked to come forward.
  ElementRef frontWindow;
  std::set<ElementRef> closedWindows;
  std::vector<ElementRef> windowActivations;
  std::optional<std::string> noFocusRestore;

private:
  std::map<Token, std::function<void(const RunningApp &)>> observers_;
  Token next_ = 1;
};

} // namespace selvar
