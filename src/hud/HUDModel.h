#pragma once
// The observable state behind the pill: state text, question, look, and the animated spectrum.
// push() turns raw analyser frames into springy bar heights and a breathing energy phase that
// look the same whatever the buffer rate. Main thread only.

#include "app/Prefs.h"
#include "hud/HUDPresentation.h"

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace selvar {

class HUDModel {
public:
  static constexpr std::size_t kBandCount = 28;
  using Bands = std::array<double, kBandCount>;

  // The published fields; observers hear which one changed.
  enum class Field { state, material, style, bands, phase, question };
  using Observer = std::function<void(Field)>;
  using Token = std::uint64_t;
  // Seconds on a monotonic media clock.
  using MediaClock = std::function<double()>;
  // The trigger's label for the hint line (a custom key's description or a trigger symbol).
  using TriggerLabelSource = std::function<std::string()>;

  // Without a label source the hint names the stored built-in trigger.
  explicit HUDModel(MediaClock clock = {}, TriggerLabelSource triggerLabel = {});

  // One analyser frame; anything but 28 values is ignored without a trace.
  void push(std::span<const double> input);
  // Back to silence; the next push starts as if it were the first.
  void reset();

  const std::string &state() const { return state_; }
  HUDMaterial material() const { return material_; }
  HUDPreference style() const { return style_; }
  const Bands &bands() const { return bands_; }
  double phase() const { return phase_; }
  const std::optional<std::string> &question() const { return question_; }
  void setState(std::string state);
  void setMaterial(HUDMaterial material);
  void setStyle(HUDPreference style);
  void setQuestion(std::optional<std::string> question);

  const Bands &velocity() const { return velocity_; }
  const Bands &targets() const { return targets_; }
  double energy() const { return energy_; }
  double lastPush() const { return lastPush_; }

  StatePresentation presentation() const { return presentState(state_); }
  // Read from the preferences at the moment of drawing.
  std::string hint() const;

  Token subscribe(Observer observer);
  void unsubscribe(Token token);

private:
  double frameInterval(double now) const;
  void stepSpring(std::size_t band, double input, double dt);
  void stepEnergy(std::span<const double> input, double dt);
  void publish(Field field);
  void settleObservers();

  MediaClock clock_;
  TriggerLabelSource triggerLabel_;
  std::string state_;
  HUDMaterial material_;
  HUDPreference style_;
  Bands bands_{};
  double phase_ = 0;
  std::optional<std::string> question_;
  Bands velocity_{};
  double energy_ = 0;
  double lastPush_ = 0;
  Bands targets_{};

  struct Subscription {
    Token token;
    Observer observer;
    bool active;
  };
  std::vector<Subscription> observers_;
  std::vector<Subscription> joining_; // subscribed during a delivery
  Token nextToken_ = 1;
  int publishing_ = 0;
};

} // namespace selvar
