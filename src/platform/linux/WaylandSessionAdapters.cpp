// The Wayland session. What a client may do here depends on the compositor's protocols; the
// pieces that are not offered say so in the log once at start instead of failing each time.

#include "platform/FileLocations.h"
#include "platform/linux/CommandOnlyKeyboardTap.h"
#include "platform/linux/DesktopPortal.h"
#include "platform/linux/EvdevKeyboardTap.h"
#include "platform/linux/GtkOnlyClipboard.h"
#include "platform/linux/LayerShellHudPanel.h"
#include "platform/linux/LinuxPermissionAccess.h"
#include "platform/linux/PortalKeySynthesizer.h"
#include "platform/linux/PortalShortcutsKeyboardTap.h"
#include "platform/linux/SessionAdapters.h"
#include "platform/linux/WaylandDataControlClipboard.h"
#include "platform/linux/WaylandKeySynthesizer.h"
#include "platform/linux/WaylandTriggerSource.h"
#include "platform/linux/WaylandWorkspace.h"

namespace selvar {

namespace {

// Nobody's focus can be read or moved from outside: the anchor stays empty.
class NoAccessibility : public Accessibility {
public:
  ElementRef focusedElement(int) override { return nullptr; }
  ElementRef window(const ElementRef &) override { return nullptr; }
  bool raise(const ElementRef &) override { return false; }
  bool setFocusedElement(int, const ElementRef &) override { return false; }
};

// No synthetic keys: the text stays on the clipboard for the user to paste.
class NoKeySynthesizer : public KeySynthesizer {
public:
  bool postKeystroke(int, std::uint64_t, double) override { return false; }
  bool canPostKeystrokes() const override { return false; }
};

// No X server is asked: the trigger source decides what works, and there is no grant to wait
// for.
class WaylandPermissionAccess : public LinuxPermissionAccess {
public:
  bool accessibilityTrusted() const override { return true; }
};

class WaylandSessionAdapters : public SessionAdapters {
public:
  WaylandSessionAdapters() {
    WaylandTriggerOptions options;
    options.keyboardsReadable = evdev_.anyKeyboardReadable();
    options.keyboardsDenied = !evdev_.deniedPaths().empty();
    // The bus is asked only when the portal could be of use.
    if (!options.keyboardsReadable || !virtualKeys_.available()) {
      portal_ = DesktopPortal::onSessionBus();
      if (portal_ && !portal_->isOffered()) portal_.reset();
    }
    options.portalShortcuts = portal_ != nullptr;
    trigger_ = chooseWaylandTriggerSource(options);
    if (portal_) {
      portalShortcuts_ =
          std::make_unique<PortalShortcutsKeyboardTap>(*portal_, command_.sourceName());
      portalKeys_ = std::make_unique<PortalKeySynthesizer>(*portal_);
    }
  }

  void start() override {
    if (usesPortalKeys())
      portalKeys_->start(Paths::dataRoot() / PortalKeySynthesizer::kTokenFileName);
  }

  Workspace &workspace() override { return workspace_; }
  PermissionAccess &permissions() override { return permissions_; }
  Accessibility &accessibility() override { return accessibility_; }
  Pasteboard &pasteboard() override {
    if (dataControl_.available()) return dataControl_;
    return clipboard_;
  }
  KeySynthesizer &keySynthesizer() override {
    if (virtualKeys_.available()) return virtualKeys_;
    if (usesPortalKeys()) return *portalKeys_;
    return noKeys_;
  }
  KeyboardTap &keyboardTap() override {
    if (trigger_.source == WaylandTriggerSource::evdev) return evdev_;
    if (trigger_.source == WaylandTriggerSource::portalShortcuts) return *portalShortcuts_;
    return command_;
  }
  // Without layer-shell (GNOME) the pill is an ordinary window: the compositor chooses where
  // it goes and may give it a frame, and it cannot be kept above full-screen windows.
  std::unique_ptr<GtkHudPanel> makeHudPanel(const GdkScreens &screens) override {
    if (LayerShellHudPanel::isSupported()) return std::make_unique<LayerShellHudPanel>(screens);
    return std::make_unique<GtkHudPanel>(screens);
  }
  std::vector<std::string> startupNotes() const override {
    std::vector<std::string> notes{"desktop backend: wayland"};
    for (const auto &hint : trigger_.hints)
      notes.push_back("wayland: " + hint);
    if (virtualKeys_.available())
      notes.push_back("wayland: paste keystroke through a virtual keyboard");
    else if (usesPortalKeys())
      notes.push_back("wayland: paste keystroke through the desktop portal's remote desktop "
                      "(asked once, then remembered)");
    else
      notes.push_back("wayland: no synthetic paste here; dictated text is copied for Ctrl+V");
    if (dataControl_.available())
      notes.push_back(
          std::string("wayland: clipboard snapshot and restore through data-control (") +
          dataControl_.protocol() + ")");
    else
      notes.push_back("wayland: no data-control here; the clipboard is set through GTK and "
                      "never restored");
    if (auto why = workspace_.focusRestoreUnavailable())
      notes.push_back("wayland: the focus cannot be restored before a paste here: " + *why);
    else
      notes.push_back("wayland: focus restored through foreign-toplevel management");
    if (!LayerShellHudPanel::isSupported())
      notes.push_back("wayland: no layer-shell here; the pill is an ordinary window that the "
                      "compositor places");
    return notes;
  }

private:
  // On wlroots the virtual keyboard wins; the portal types where it is not offered.
  bool usesPortalKeys() const { return portalKeys_ && !virtualKeys_.available(); }

  WaylandWorkspace workspace_;
  WaylandPermissionAccess permissions_;
  NoAccessibility accessibility_;
  WaylandDataControlClipboard dataControl_;
  GtkOnlyClipboard clipboard_;
  WaylandKeySynthesizer virtualKeys_;
  NoKeySynthesizer noKeys_;
  EvdevKeyboardTap evdev_;
  CommandOnlyKeyboardTap command_;
  std::unique_ptr<DesktopPortal> portal_;
  std::unique_ptr<PortalShortcutsKeyboardTap> portalShortcuts_;
  std::unique_ptr<PortalKeySynthesizer> portalKeys_;
  WaylandTriggerChoice trigger_;
};

} // namespace

std::unique_ptr<SessionAdapters> makeWaylandAdapters() {
  return std::make_unique<WaylandSessionAdapters>();
}

} // namespace selvar
