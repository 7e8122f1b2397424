#pragma once
// The application object on macOS: the main menu and the status item drawn from the core's
// menu models (the status menu rebuilt each time it opens), the about panel, hiding and
// terminating through NSApplication.

#include "platform/AppHost.h"

@class NSMenu;
@class NSStatusItem;
@class SLVMenuTarget;
@class SLVStatusMenuDelegate;

namespace selvar {

class AppKitAppHost : public AppHost {
public:
  void installMainMenu(const std::vector<Menu> &menus, MenuHandler handler) override;
  void installStatusItem(const std::string &toolTip,
                         std::function<std::vector<MenuItem>()> buildMenu,
                         MenuHandler handler) override;
  void setStatusToolTip(const std::string &toolTip) override;
  void showAboutPanel() override;
  void hideApplication() override;
  void terminate() override;
  void printToTerminal(const std::string &line) override;
  std::string appVersion() const override;
  std::string osVersion() const override;

private:
  SLVMenuTarget *mainTarget_ = nil;
  NSStatusItem *statusItem_ = nil;
  SLVStatusMenuDelegate *statusDelegate_ = nil;
};

} // namespace selvar
