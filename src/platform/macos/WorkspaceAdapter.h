#pragma once
// The running applications through NSWorkspace and NSRunningApplication.

#include "platform/Workspace.h"

#include <map>

@protocol NSObject;

namespace selvar {

class WorkspaceAdapter : public Workspace {
public:
  ~WorkspaceAdapter() override;

  std::optional<RunningApp> frontmostApplication() const override;
  std::vector<RunningApp> runningApplications() const override;
  bool isTerminated(int pid) const override;
  std::string ownBundleIdentifier() const override;
  int ownProcessId() const override;
  bool activate(int pid) override;
  bool activateIgnoringOtherApps(int pid, const ElementRef &window) override;
  bool isOwnApplicationActive() const override;
  bool ownsKeyWindow() const override;
  Token observeActivations(std::function<void(const RunningApp &)> handler) override;
  void removeObserver(Token token) override;
  bool openURL(const std::string &url) override;

private:
  std::map<Token, id<NSObject>> observers_;
  Token next_ = 1;
};

} // namespace selvar
