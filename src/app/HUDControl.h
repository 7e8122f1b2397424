#pragma once
// The pill as the HUD test switches drive it.

#include <span>
#include <string>

namespace selvar {

class HUDControl {
public:
  virtual ~HUDControl() = default;
  virtual void show(const std::string &state) = 0;
  // Hides the panel, resets the pill's model and records "hud.hide".
  virtual void hide() = 0;
  virtual bool isVisible() const = 0;
  virtual void updateSpectrum(std::span<const float> levels) = 0;
};

} // namespace selvar
