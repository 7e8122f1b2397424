#include "hud/HUDModel.h"

#include "platform/Services.h"
#include "platform/SettingsStore.h"
#include "support/Time.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>
#include <numeric>

namespace selvar {

namespace {

constexpr double kFirstFrame = 1.0 / 60;
constexpr double kShortestFrame = 1.0 / 240;
constexpr double kLongestFrame = 1.0 / 15;
constexpr double kPhaseWrap = 128 * std::numbers::pi;

std::string storedTriggerSymbol() {
  auto raw = services().settings->stringValue(PrefKey::trigger);
  return std::string(triggerHintSymbol(raw.value_or("")));
}

} // namespace

HUDModel::HUDModel(MediaClock clock, TriggerLabelSource triggerLabel)
    : clock_(clock ? std::move(clock) : MediaClock(monotonicNow)),
      triggerLabel_(triggerLabel ? std::move(triggerLabel)
                                 : TriggerLabelSource(storedTriggerSymbol)),
      material_(Prefs::hudMaterial()), style_(Prefs::hudStyle()) {}

void HUDModel::push(std::span<const double> input) {
  if (input.size() != kBandCount) return;
  const double now = clock_();
  const double dt = frameInterval(now);
  lastPush_ = now;
  for (std::size_t i = 0; i < kBandCount; ++i)
    stepSpring(i, input[i], dt);
  publish(Field::bands);
  stepEnergy(input, dt);
  phase_ = std::fmod(phase_ + energy_ * 4.2, kPhaseWrap);
  publish(Field::phase);
}

// Stalls and bursts are clamped to 15–240 Hz equivalents so the spring cannot explode.
double HUDModel::frameInterval(double now) const {
  if (lastPush_ == 0) return kFirstFrame;
  return std::clamp(now - lastPush_, kShortestFrame, kLongestFrame);
}

// A critically damped spring, semi-implicit Euler. Bars jump up fast and fall more slowly.
void HUDModel::stepSpring(std::size_t i, double input, double dt) {
  targets_[i] += (input - targets_[i]) * 0.85;
  const double current = bands_[i];
  const double k = current < targets_[i] ? 560 : 150;
  const double v =
      velocity_[i] + dt * (k * (targets_[i] - current) - 2 * std::sqrt(k) * velocity_[i]);
  const double p = current + dt * v;
  bands_[i] = std::clamp(p, 0.0, 1.0);
  velocity_[i] = (p > 1 || p < 0) ? 0 : v; // the spring stops at the walls
}

// Follows the raw input's mean, rising faster than it falls.
void HUDModel::stepEnergy(std::span<const double> input, double dt) {
  const double mean = std::accumulate(input.begin(), input.end(), 0.0) / double(input.size());
  const double rate = std::min(dt * (energy_ < mean ? 0.85 : 0.42) * 60, 1.0);
  energy_ += (mean - energy_) * rate;
}

void HUDModel::reset() {
  bands_.fill(0);
  velocity_.fill(0);
  targets_.fill(0);
  energy_ = 0;
  phase_ = 0;
  lastPush_ = 0;
  publish(Field::bands);
  publish(Field::phase);
}

void HUDModel::setState(std::string state) {
  state_ = std::move(state);
  publish(Field::state);
}

void HUDModel::setMaterial(HUDMaterial material) {
  material_ = material;
  publish(Field::material);
}

void HUDModel::setStyle(HUDPreference style) {
  style_ = style;
  publish(Field::style);
}

void HUDModel::setQuestion(std::optional<std::string> question) {
  question_ = std::move(question);
  publish(Field::question);
}

std::string HUDModel::hint() const {
  return hintLine(Prefs::triggerMode(), triggerLabel_());
}

HUDModel::Token HUDModel::subscribe(Observer observer) {
  // Joining during a delivery waits for it to finish, so the list never moves under a caller.
  (publishing_ > 0 ? joining_ : observers_).push_back({nextToken_, std::move(observer), true});
  return nextToken_++;
}

// An observer may unsubscribe itself while it runs: it is only marked here and dropped once no
// delivery is in progress.
void HUDModel::unsubscribe(Token token) {
  for (auto *list : {&observers_, &joining_})
    for (auto &entry : *list)
      if (entry.token == token) entry.active = false;
  if (publishing_ == 0) settleObservers();
}

void HUDModel::publish(Field field) {
  ++publishing_;
  for (auto &entry : observers_)
    if (entry.active) entry.observer(field);
  if (--publishing_ == 0) settleObservers();
}

void HUDModel::settleObservers() {
  auto inactive = [](const Subscription &entry) { return !entry.active; };
  std::erase_if(observers_, inactive);
  std::erase_if(joining_, inactive);
  if (joining_.empty()) return;
  std::move(joining_.begin(), joining_.end(), std::back_inserter(observers_));
  joining_.clear();
}

} // namespace selvar
