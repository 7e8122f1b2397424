#pragma once
// The floating pill's life cycle: what it shows, where it sits, how it follows drags and style
// changes, and the records of it appearing and disappearing. The platform panel draws; this
// decides. One instance, owned by the controller, main thread only.

#include "hud/DraggableView.h"
#include "hud/HUDModel.h"
#include "platform/HudPanel.h"
#include "platform/MainQueue.h"
#include "platform/NotificationCenter.h"
#include "platform/Screens.h"

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
#include <string>

namespace selvar {

class HUD {
public:
  // Receives the diagnostics timeline events ("hud.show", "hud.hide").
  using EventSink = std::function<void(const std::string &name, const nlohmann::json &fields)>;
  struct Hooks {
    EventSink event;
    HUDModel::MediaClock mediaClock;           // default: the installed monotonic clock
    HUDModel::TriggerLabelSource triggerLabel; // default: the stored built-in trigger's symbol
  };

  // Sets the panel up hidden, 300×60, with the stored material.
  HUD(HudPanel &panel, const Screens &screens, Hooks hooks = {});
  ~HUD();
  HUD(const HUD &) = delete;
  HUD &operator=(const HUD &) = delete;

  // Shows (or refreshes) the pill with a state text and an optional second line.
  void show(const std::string &state, std::optional<std::string> question = std::nullopt);
  void hide();
  // One analyser frame; anything but 28 levels is ignored by the model.
  void updateSpectrum(std::span<const float> bands);

  HUDModel &model() { return model_; }
  const HUDModel &model() const { return model_; }

private:
  void place();
  void fitToContent();
  void clampToScreen();
  std::optional<Rect> screen(Point containing) const;
  void rememberOrigin();
  void saveOrigin();
  void applyBackdrop(HUDMaterial material);
  void styleChanged();
  void windowMoved();
  void wireEvents();

  HudPanel &panel_;
  const Screens &screens_;
  EventSink event_;
  HUDModel model_;
  DraggableView drag_;
  NotificationCenter::Token styleObserver_ = 0;
  // A drag moves the pill on every pointer event; the origin is written once it settles.
  std::optional<Point> unsavedOrigin_;
  TimerRef saveTimer_;
};

} // namespace selvar
