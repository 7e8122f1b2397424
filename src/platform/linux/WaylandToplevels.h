#pragma once
// The compositor's windows through wlroots' foreign-toplevel management
// (zwlr_foreign_toplevel_manager_v1), on a connection of its own watched by the GLib main loop:
// which window is activated, and activating one again for the seat. A window here has an app id
// and a title but no process, so focus is anchored to windows, not applications.

#include "platform/Accessibility.h"

#include <memory>
#include <optional>
#include <string>

namespace selvar {

class WaylandToplevels {
public:
  WaylandToplevels();
  ~WaylandToplevels();
  WaylandToplevels(const WaylandToplevels &) = delete;
  WaylandToplevels &operator=(const WaylandToplevels &) = delete;

  // Why windows cannot be activated on this compositor; nothing when they can.
  std::optional<std::string> unavailable() const;
  // The activated window unless it is one of ownAppId's; nothing when none is.
  ElementRef activated(const std::string &ownAppId);
  // Asks the compositor to give the seat's keyboard focus back to a window activated() found;
  // false, with a log line, when it has closed or the connection failed.
  bool activate(const ElementRef &window);

  struct State;

private:
  std::unique_ptr<State> state_;
};

} // namespace selvar
