#pragma once
// A private D-Bus session bus with the stand-in desktop portal (tests/tools/portal-stand-in.py)
// on it, for the tests of the portal paths; the user's own session bus is never touched. The
// test talks to the stand-in through its control interface: what to refuse or ignore, which
// calls it received, and which shortcut signals to send.

#include <functional>
#include <gio/gio.h>
#include <nlohmann/json.hpp>
#include <string>
#include <sys/types.h>

namespace selvar::testing {

class PrivatePortalBus {
public:
  PrivatePortalBus();
  ~PrivatePortalBus();
  PrivatePortalBus(const PrivatePortalBus &) = delete;
  PrivatePortalBus &operator=(const PrivatePortalBus &) = delete;

  // Why there is no bus (dbus-daemon missing or failing); empty when it runs.
  const std::string &problem() const { return problem_; }
  // A connection of the code under test to the private bus.
  GDBusConnection *connection() const { return connection_; }

  // See the stand-in for the keys: refuse, silent, missing, bound.
  void configure(const nlohmann::json &config);
  // Every portal call so far, as {"method": "GlobalShortcuts.BindShortcuts", "args": [...]}.
  nlohmann::json calls();
  nlohmann::json callsTo(const std::string &method);
  void emit(const std::string &signal, const std::string &shortcutId);

  // Runs the GLib main context until the condition holds; false when it still does not after
  // a generous bound (the stand-in is another process, answering when it gets to it).
  static bool pumpUntil(const std::function<bool()> &condition);

private:
  nlohmann::json control(const char *method, GVariant *parameters);

  pid_t daemon_ = -1;
  pid_t standIn_ = -1;
  GDBusConnection *connection_ = nullptr;
  std::string problem_;
};

} // namespace selvar::testing
