#include "app/AppFocus.h"

#include "insertion/PreviousApplication.h"
#include "platform/Services.h"

namespace selvar::AppFocus {

namespace {
struct Tracking {
  std::optional<RunningApp> last;
  Workspace *workspace = nullptr;
  Workspace::Token token = 0;
};

Tracking &tracking() {
  static Tracking t;
  return t;
}

bool isSelf(const Workspace &workspace, const RunningApp &app) {
  std::string own = workspace.ownBundleIdentifier();
  return app.pid == workspace.ownProcessId() || (!own.empty() && app.bundleId == own);
}

void record(const RunningApp &app) {
  Tracking &t = tracking();
  if (t.workspace && !isSelf(*t.workspace, app)) t.last = app;
}
} // namespace

void start() {
  stop();
  Tracking &t = tracking();
  t.workspace = services().workspace;
  if (!t.workspace) return;
  if (auto front = t.workspace->frontmostApplication()) record(*front);
  t.token = t.workspace->observeActivations([](const RunningApp &app) { record(app); });
  // The inserter hands the focus back to this application when Selvar itself is in front.
  PreviousApplication::setSource(lastExternalApplication);
}

void stop() {
  Tracking &t = tracking();
  if (t.workspace && t.token) t.workspace->removeObserver(t.token);
  t = Tracking{};
}

std::optional<RunningApp> lastExternalApplication() {
  return tracking().last;
}

} // namespace selvar::AppFocus
