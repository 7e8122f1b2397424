#pragma once
// Update checks through the Sparkle framework's standard updater controller, when the
// framework is embedded in the application bundle. It is looked up at run time, so a build
// without it links and runs, and simply offers no update check.

#include "platform/UpdaterService.h"

#include <memory>

namespace selvar {

class SparkleUpdater : public UpdaterService {
public:
  // Nothing when the bundle carries no loadable update framework.
  static std::unique_ptr<SparkleUpdater> loadFromBundle();
  explicit SparkleUpdater(Class controllerClass) : controllerClass_(controllerClass) {}

  void checkForUpdates() override;

private:
  Class controllerClass_;
  id controller_ = nil; // the standard updater controller, made on first use
};

} // namespace selvar
