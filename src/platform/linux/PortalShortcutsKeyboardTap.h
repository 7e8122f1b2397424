#pragma once
// The trigger source that asks the desktop portal for global shortcuts (KDE Plasma 6, GNOME 48
// and later, Hyprland): the trigger, cancel and paste-last keys become shortcuts the user
// confirms once in the desktop's dialog. Their activation drives the key handling as the
// chosen key's press would, their deactivation as its release (hold mode). The compositor
// keeps a shortcut's key from every application at all times, so nothing can be swallowed
// selectively here. When the portal refuses, lacks the interface or never answers, the source
// says so once and the control command is what is left.

#include "platform/KeyboardTap.h"
#include "platform/linux/DesktopPortal.h"

#include <set>
#include <string>
#include <vector>

namespace selvar {

class PortalShortcutsKeyboardTap : public KeyboardTap {
public:
  // How long the portal may take to create a session or list shortcuts, and how long the user
  // may take over the binding dialog.
  static constexpr double kCallSeconds = 10;
  static constexpr double kDialogSeconds = 120;

  enum class Stage { idle, creatingSession, listing, binding, ready, failed };

  // fallbackName names the source that is left when the portal fails.
  PortalShortcutsKeyboardTap(DesktopPortal &portal, std::string fallbackName);
  ~PortalShortcutsKeyboardTap() override;

  // The first install starts the session, which then lasts as long as the process.
  bool install(Handler handler) override;
  void remove() override { handler_ = nullptr; }
  bool isInstalled() const override { return static_cast<bool>(handler_); }
  void reenable() override {}
  bool isKeyDown(int keyCode) const override { return held_.contains(keyCode); }
  std::string sourceName() const override;
  KeyPassage keyPassage() const override { return KeyPassage::onlyDesktopShortcuts; }

  Stage stage() const { return stage_; }

private:
  void createSession();
  void listShortcuts();
  void bindShortcuts();
  // Takes the a(sa{sv}) of bound shortcuts; true when all three are among them.
  bool takeBound(GVariant *results, const char *how);
  void fail(const std::string &why);
  void onShortcut(GVariant *parameters, bool activated);

  DesktopPortal &portal_;
  std::string fallbackName_;
  Handler handler_;
  Stage stage_ = Stage::idle;
  std::string session_;
  std::set<int> held_;
  std::vector<unsigned> subscriptions_;
};

} // namespace selvar
