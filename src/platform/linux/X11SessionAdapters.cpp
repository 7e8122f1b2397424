// The X11 session: keys through key grabs, paste through XTest, focus through the window
// manager's hints, the CLIPBOARD selection.

#include "platform/linux/LinuxPermissionAccess.h"
#include "platform/linux/SessionAdapters.h"
#include "platform/linux/X11Accessibility.h"
#include "platform/linux/X11Clipboard.h"
#include "platform/linux/X11KeyboardTap.h"
#include "platform/linux/X11Workspace.h"
#include "platform/linux/XTestKeySynthesizer.h"

namespace selvar {

namespace {

class X11SessionAdapters : public SessionAdapters {
public:
  Workspace &workspace() override { return workspace_; }
  PermissionAccess &permissions() override { return permissions_; }
  Accessibility &accessibility() override { return accessibility_; }
  Pasteboard &pasteboard() override { return clipboard_; }
  KeySynthesizer &keySynthesizer() override { return keys_; }
  KeyboardTap &keyboardTap() override { return tap_; }
  std::unique_ptr<GtkHudPanel> makeHudPanel(const GdkScreens &screens) override {
    return std::make_unique<GtkHudPanel>(screens);
  }
  std::vector<std::string> startupNotes() const override { return {"desktop backend: x11"}; }

private:
  X11Workspace workspace_;
  LinuxPermissionAccess permissions_;
  X11Accessibility accessibility_;
  X11Clipboard clipboard_;
  XTestKeySynthesizer keys_;
  X11KeyboardTap tap_;
};

} // namespace

std::unique_ptr<SessionAdapters> makeX11Adapters() {
  return std::make_unique<X11SessionAdapters>();
}

} // namespace selvar
