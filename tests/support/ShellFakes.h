#pragma once
// Scriptable stand-ins for the workspace and the privacy-grant services, used by the shell's
// tests. Kept in their own namespace so they never clash with fakes added elsewhere.

#include "platform/PermissionAccess.h"
#include "platform/Workspace.h"

#include <map>

namespace selvar::shelltest {

class ScriptedWorkspace : public Workspace {
public:
  std::optional<RunningApp> frontmost;
  std::vector<RunningApp> running;
  std::string ownBundle = "app.selvar.Selvar";
  int ownPid = 4242;
  std::vector<std::string> openedURLs;

  std::optional<RunningApp> frontmostApplication() const override { return frontmost; }
  std::vector<RunningApp> runningApplications() const override { return running; }
  bool isTerminated(int pid) const override {
    for (const auto &app : running)
      if (app.pid == pid) return false;
    return true;
  }
  std::string ownBundleIdentifier() const override { return ownBundle; }
  int ownProcessId() const override { return ownPid; }
  bool activate(int) override { return true; }
  bool ownsKeyWindow() const override { return false; }
  Token observeActivations(std::function<void(const RunningApp &)> handler) override {
    observers_[next_] = std::move(handler);
    return next_++;
  }
  void removeObserver(Token token) override { observers_.erase(token); }
  bool openURL(const std::string &url) override {
    openedURLs.push_back(url);
    return true;
  }

  // Makes app frontmost and tells the observers, as the window system would.
  void activateApp(const RunningApp &app) {
    frontmost = app;
    for (auto &[token, handler] : observers_)
      handler(app);
  }
  std::size_t observerCount() const { return observers_.size(); }

private:
  std::map<Token, std::function<void(const RunningApp &)>> observers_;
  Token next_ = 1;
};

class ScriptedPermissions : public PermissionAccess {
public:
  bool trusted = true;
  PermissionState mic = PermissionState::granted;
  PermissionState speech = PermissionState::granted;
  std::optional<std::string> requirement;

  bool accessibilityTrusted() const override { return trusted; }
  PermissionState microphone() const override { return mic; }
  PermissionState speechRecognition() const override { return speech; }
  void requestMicrophone(std::function<void(bool)> completion) override {
    completion(mic == PermissionState::granted);
  }
  void requestSpeechRecognition(std::function<void(PermissionState)> completion) override {
    completion(speech);
  }
  std::optional<std::string> designatedRequirement() const override { return requirement; }
};

} // namespace selvar::shelltest
