#pragma once
// The services that differ between X11 and Wayland sessions, as one bundle: the desktop picks
// one bundle at start and hands its parts to the core.

#include "platform/Accessibility.h"
#include "platform/KeySynthesizer.h"
#include "platform/KeyboardTap.h"
#include "platform/Pasteboard.h"
#include "platform/PermissionAccess.h"
#include "platform/Workspace.h"
#include "platform/linux/GtkHudPanel.h"

#include <memory>
#include <string>

namespace selvar {

class SessionAdapters {
public:
  virtual ~SessionAdapters() = default;
  virtual Workspace &workspace() = 0;
  virtual PermissionAccess &permissions() = 0;
  virtual Accessibility &accessibility() = 0;
  virtual Pasteboard &pasteboard() = 0;
  virtual KeySynthesizer &keySynthesizer() = 0;
  virtual KeyboardTap &keyboardTap() = 0;
  // Begins what needs the main loop and the services (requests to the desktop portal); once,
  // after start-up.
  virtual void start() {}
  // A window for the pill, as this session can place one.
  virtual std::unique_ptr<GtkHudPanel> makeHudPanel(const GdkScreens &screens) = 0;
  // Log lines for the start: which backend runs, and how to get more out of it.
  virtual std::vector<std::string> startupNotes() const = 0;
};

std::unique_ptr<SessionAdapters> makeX11Adapters();
std::unique_ptr<SessionAdapters> makeWaylandAdapters();

} // namespace selvar
