#pragma once
// Keeps the login-item registration in line with the "launchAtLogin" preference.

namespace selvar::LoginItem {

// Registers or unregisters unless the registration already matches; failures are logged.
// Returns whether Selvar is now registered.
bool set(bool enabled);
// Called at every launch so the registration follows the preference even when the user
// changed it outside Selvar.
void enforcePreference();

} // namespace selvar::LoginItem
