#include "insertion/FocusAnchor.h"

#include "platform/Services.h"

namespace selvar {

std::optional<FocusAnchor> FocusAnchor::capture(const std::optional<RunningApp> &app) {
  auto &workspace = *services().workspace;
  if (!app || workspace.isTerminated(app->pid)) return std::nullopt;
  if (app->bundleId == workspace.ownBundleIdentifier()) return std::nullopt;
  auto element = services().accessibility->focusedElement(app->pid);
  if (!element) return std::nullopt;
  return FocusAnchor{app->pid, std::move(element)};
}

} // namespace selvar
