#include "platform/macos/WorkspaceAdapter.h"

#include "platform/macos/ObjCBridge.h"

#import <AppKit/AppKit.h>

namespace selvar {

namespace {

RunningApp describeApp(NSRunningApplication *app) {
  return {app.processIdentifier, stdString(app.bundleIdentifier), stdString(app.localizedName)};
}

NSRunningApplication *appWithPid(int pid) {
  return [NSRunningApplication runningApplicationWithProcessIdentifier:pid];
}

} // namespace

WorkspaceAdapter::~WorkspaceAdapter() {
  for (auto &[token, observer] : observers_)
    [[NSWorkspace sharedWorkspace].notificationCenter removeObserver:observer];
}

std::optional<RunningApp> WorkspaceAdapter::frontmostApplication() const {
  NSRunningApplication *front = [NSWorkspace sharedWorkspace].frontmostApplication;
  if (!front) return std::nullopt;
  return describeApp(front);
}

std::vector<RunningApp> WorkspaceAdapter::runningApplications() const {
  std::vector<RunningApp> apps;
  for (NSRunningApplication *app in [NSWorkspace sharedWorkspace].runningApplications)
    apps.push_back(describeApp(app));
  return apps;
}

bool WorkspaceAdapter::isTerminated(int pid) const {
  NSRunningApplication *app = appWithPid(pid);
  return !app || app.terminated;
}

std::string WorkspaceAdapter::ownBundleIdentifier() const {
  return stdString([NSBundle mainBundle].bundleIdentifier);
}

int WorkspaceAdapter::ownProcessId() const {
  return [NSProcessInfo processInfo].processIdentifier;
}

bool WorkspaceAdapter::activate(int pid) {
  return [appWithPid(pid) activateWithOptions:0];
}

// AXRaise has already made the window its application's main window, and activation brings the
// main window forward: the application is all there is to activate.
bool WorkspaceAdapter::activateIgnoringOtherApps(int pid, const ElementRef &) {
  return [appWithPid(pid) activateWithOptions:NSApplicationActivateIgnoringOtherApps];
}

bool WorkspaceAdapter::isOwnApplicationActive() const {
  return [NSApplication sharedApplication].active;
}

bool WorkspaceAdapter::ownsKeyWindow() const {
  return [NSApplication sharedApplication].keyWindow != nil;
}

Workspace::Token
WorkspaceAdapter::observeActivations(std::function<void(const RunningApp &)> handler) {
  id<NSObject> observer = [[NSWorkspace sharedWorkspace].notificationCenter
      addObserverForName:NSWorkspaceDidActivateApplicationNotification
                  object:nil
                   queue:[NSOperationQueue mainQueue]
              usingBlock:^(NSNotification *note) {
                NSRunningApplication *app = note.userInfo[NSWorkspaceApplicationKey];
                if (app) handler(describeApp(app));
              }];
  Token token = next_++;
  observers_[token] = observer;
  return token;
}

void WorkspaceAdapter::removeObserver(Token token) {
  auto it = observers_.find(token);
  if (it == observers_.end()) return;
  [[NSWorkspace sharedWorkspace].notificationCenter removeObserver:it->second];
  observers_.erase(it);
}

bool WorkspaceAdapter::openURL(const std::string &url) {
  NSURL *target = [NSURL URLWithString:nsString(url)];
  return target && [[NSWorkspace sharedWorkspace] openURL:target];
}

} // namespace selvar
