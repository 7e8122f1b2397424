#pragma once
// The software-update check, where the platform build carries an updater. Linux packages are
// updated by the system's package manager, so there it is absent.

namespace selvar {

class UpdaterService {
public:
  virtual ~UpdaterService() = default;
  // Starts the updater on first use and checks now; the updater shows its own interface.
  virtual void checkForUpdates() = 0;
};

} // namespace selvar
