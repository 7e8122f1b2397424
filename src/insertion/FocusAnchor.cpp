#include "insertion/FocusAnchor.h"

#include "platform/Services.h"

namespace selvar {

namespace {

std::optional<FocusAnchor> captureWindow(Workspace &workspace) {
  if (auto window = workspace.focusedWindow()) return FocusAnchor{0, nullptr, window, {}};
  if (auto why = workspace.focusRestoreUnavailable()) return FocusAnchor{0, nullptr, nullptr, why};
  return std::nullopt;
}

} // namespace

std::optional<FocusAnchor> FocusAnchor::capture(const std::optional<RunningApp> &app) {
  auto &workspace = *services().workspace;
  if (!app) return captureWindow(workspace);
  if (workspace.isTerminated(app->pid)) return std::nullopt;
  if (app->bundleId == workspace.ownBundleIdentifier()) return std::nullopt;
  auto element = services().accessibility->focusedElement(app->pid);
  if (!element) return std::nullopt;
  return FocusAnchor{app->pid, std::move(element), nullptr, std::nullopt};
}

} // namespace selvar
