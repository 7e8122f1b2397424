#pragma once
// "Check for Updates…", where the platform has an updater.

namespace selvar::Updater {

bool isAvailable();
void checkForUpdates();

} // namespace selvar::Updater
