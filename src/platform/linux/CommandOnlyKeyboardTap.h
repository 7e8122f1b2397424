#pragma once
// The trigger source of last resort: no keyboard is visible to Selvar, so the keys come only
// from the compositor's own bindings running "selvar --start/--stop/--toggle/--cancel". The
// tap installs (there is nothing to wait for) and never sees an event.

#include "platform/KeyboardTap.h"

namespace selvar {

class CommandOnlyKeyboardTap : public KeyboardTap {
public:
  bool install(Handler) override { return installed_ = true; }
  void remove() override { installed_ = false; }
  bool isInstalled() const override { return installed_; }
  void reenable() override {}
  bool isKeyDown(int) const override { return false; }
  std::string sourceName() const override {
    return "the control command (selvar --start, --stop, --toggle, --cancel)";
  }
  KeyPassage keyPassage() const override { return KeyPassage::onlyDesktopShortcuts; }

private:
  bool installed_ = false;
};

} // namespace selvar
