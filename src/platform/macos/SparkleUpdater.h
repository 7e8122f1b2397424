#pragma once
// Update checks through the Sparkle framework's standard updater controller, when the
// framework is embedded in the application bundle. It is looked up at run time, so a build
// without it links and runs, and simply offers no update check.

#include "platform/UpdaterService.h"

#include <memory>

@class NSBundle;

namespace selvar {

class SparkleUpdater : public UpdaterService {
public:
  // Nothing when the bundle carries no update framework.
  static std::unique_ptr<SparkleUpdater> fromBundle();
  explicit SparkleUpdater(NSBundle *framework) : framework_(framework) {}

  // Loads the framework and makes the controller on first use.
  void checkForUpdates() override;

private:
  NSBundle *framework_;
  id controller_ = nil;
};

} // namespace selvar
