#include "app/PillControl.h"

#include "records/Diagnostics.h"

namespace selvar {

namespace {
HUD::Hooks diagnosticsHooks() {
  HUD::Hooks hooks;
  hooks.event = [](const std::string &name, const nlohmann::json &fields) {
    Diagnostics::event(name, fields);
  };
  return hooks;
}
} // namespace

PillControl::PillControl(HudPanel &panel, const Screens &screens)
    : panel_(panel), hud_(panel, screens, diagnosticsHooks()) {}

} // namespace selvar
