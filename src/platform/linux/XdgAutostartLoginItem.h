#pragma once
// The login item as an XDG autostart entry: "selvar.desktop" in $XDG_CONFIG_HOME/autostart
// (the "autostart" folder of SELVAR_HOME's config folder when SELVAR_HOME is set).

#include "platform/LoginItemService.h"

#include <filesystem>

namespace selvar {

class XdgAutostartLoginItem : public LoginItemService {
public:
  XdgAutostartLoginItem(std::filesystem::path autostartDir, std::filesystem::path executable);
  // The folder the desktop reads at login, from the environment.
  static std::filesystem::path defaultAutostartDir();

  bool isEnabled() const override;
  std::optional<std::string> registerItem() override;
  std::optional<std::string> unregisterItem() override;

  std::filesystem::path entryPath() const { return dir_ / "selvar.desktop"; }
  // The Exec= value for a program path, quoted as desktop entries require.
  static std::string execValue(const std::string &program);

private:
  std::filesystem::path dir_;
  std::filesystem::path executable_;
};

} // namespace selvar
