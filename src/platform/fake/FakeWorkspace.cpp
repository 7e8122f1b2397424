#include "platform/fake/FakeWorkspace.h"

#include <algorithm>

namespace selvar {

FakeWorkspace::FakeWorkspace() {
  apps.push_back(self);
}

std::optional<RunningApp> FakeWorkspace::frontmostApplication() const {
  if (!frontPid) return std::nullopt;
  auto it = std::find_if(apps.begin(), apps.end(), [&](auto &a) { return a.pid == *frontPid; });
  if (it == apps.end()) return std::nullopt;
  return *it;
}

bool FakeWorkspace::isTerminated(int pid) const {
  if (terminated.contains(pid)) return true;
  return std::none_of(apps.begin(), apps.end(), [&](auto &a) { return a.pid == pid; });
}

bool FakeWorkspace::activate(int pid) {
  activations.push_back({pid, false, nullptr});
  if (isTerminated(pid)) return false;
  if (activationsTakeEffect) bringToFront(pid);
  return true;
}

bool FakeWorkspace::activateIgnoringOtherApps(int pid, const ElementRef &window) {
  activations.push_back({pid, true, window});
  if (isTerminated(pid)) return false;
  if (activationsTakeEffect) bringToFront(pid);
  return true;
}

bool FakeWorkspace::activateWindow(const ElementRef &window) {
  windowActivations.push_back(window);
  if (closedWindows.contains(window)) return false;
  if (activationsTakeEffect) frontWindow = window;
  return true;
}

Workspace::Token FakeWorkspace::observeActivations(std::function<void(const RunningApp &)> h) {
  observers_[next_] = std::move(h);
  return next_++;
}

void FakeWorkspace::removeObserver(Token token) {
  observers_.erase(token);
}

bool FakeWorkspace::openURL(const std::string &url) {
  openedURLs.push_back(url);
  return true;
}

RunningApp FakeWorkspace::launch(int pid, std::string bundleId, std::string name) {
  RunningApp app{pid, std::move(bundleId), std::move(name)};
  apps.push_back(app);
  return app;
}

void FakeWorkspace::bringToFront(int pid) {
  frontPid = pid;
  auto front = frontmostApplication();
  if (!front) return;
  auto observers = observers_;
  for (auto &[token, handler] : observers)
    handler(*front);
}

} // namespace selvar
