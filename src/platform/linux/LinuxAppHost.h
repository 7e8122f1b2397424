#pragma once
// The application object on a Linux desktop: it ends the main loop on request, prints outcome
// lines when started from a terminal, and keeps the menus for whichever tray and windows draw
// them (a desktop without a tray shows none, and Selvar still runs).

#include "platform/AppHost.h"

namespace selvar {

class LinuxAppHost : public AppHost {
public:
  explicit LinuxAppHost(std::function<void()> quitMainLoop);

  void installMainMenu(const std::vector<Menu> &menus, MenuHandler handler) override;
  void installStatusItem(const std::string &toolTip,
                         std::function<std::vector<MenuItem>()> buildMenu,
                         MenuHandler handler) override;
  void setStatusToolTip(const std::string &toolTip) override;
  void showAboutPanel() override;
  void hideApplication() override {}
  void terminate() override;
  void printToTerminal(const std::string &line) override;
  std::string appVersion() const override;
  std::string osVersion() const override;

  // What a tray needs to draw the status item and route its choices.
  const std::string &statusToolTip() const { return toolTip_; }
  std::vector<MenuItem> statusMenu() const {
    return buildMenu_ ? buildMenu_() : std::vector<MenuItem>{};
  }
  void choose(const MenuItem &item) const {
    if (statusHandler_) statusHandler_(item);
  }
  bool terminationRequested() const { return terminationRequested_; }

  // "Debian GNU/Linux 12 (bookworm); Linux 6.1.0-18-amd64" from os-release text and uname.
  static std::string describeSystem(const std::string &osReleaseText, const std::string &kernel);

private:
  std::function<void()> quit_;
  std::vector<Menu> mainMenus_;
  MenuHandler mainHandler_;
  std::string toolTip_;
  std::function<std::vector<MenuItem>()> buildMenu_;
  MenuHandler statusHandler_;
  bool terminationRequested_ = false;
  bool stdoutIsTerminal_;
};

} // namespace selvar
