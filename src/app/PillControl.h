#pragma once
// The pill of the HUD switches: a HUD of its own over a platform panel, with its show and hide
// records going to the diagnostics timeline like the controller's.

#include "app/HUDControl.h"
#include "hud/HUD.h"

namespace selvar {

class PillControl : public HUDControl {
public:
  PillControl(HudPanel &panel, const Screens &screens);
  void show(const std::string &state) override { hud_.show(state); }
  void hide() override { hud_.hide(); }
  bool isVisible() const override { return panel_.isVisible(); }
  void updateSpectrum(std::span<const float> levels) override { hud_.updateSpectrum(levels); }

private:
  HudPanel &panel_;
  HUD hud_;
};

} // namespace selvar
