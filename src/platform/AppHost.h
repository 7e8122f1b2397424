#pragma once
// The application object as the platform runs it: its menus and status item, the about panel,
// ending the process, and where a command-line run prints its outcome.

#include "platform/MenuModel.h"

#include <functional>
#include <string>
#include <vector>

namespace selvar {

using MenuHandler = std::function<void(const MenuItem &)>;

class AppHost {
public:
  virtual ~AppHost() = default;
  virtual void installMainMenu(const std::vector<Menu> &menus, MenuHandler handler) = 0;
  // buildMenu runs every time the status menu is about to open (or whenever the platform
  // must refresh a menu it cannot rebuild on opening).
  virtual void installStatusItem(const std::string &toolTip,
                                 std::function<std::vector<MenuItem>()> buildMenu,
                                 MenuHandler handler) = 0;
  virtual void setStatusToolTip(const std::string &toolTip) = 0;
  virtual void showAboutPanel() = 0;
  virtual void hideApplication() = 0;
  // The ordinary terminate request: the main loop ends, the delegate's termination hook runs
  // and the process exits with status 0.
  virtual void terminate() = 0;
  // Prints the line to standard output when the process was started from a terminal.
  virtual void printToTerminal(const std::string &line) = 0;
  virtual std::string appVersion() const = 0;
  virtual std::string osVersion() const = 0;
};

} // namespace selvar
