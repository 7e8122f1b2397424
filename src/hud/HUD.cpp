#include "hud/HUD.h"

#include "hud/HudPlacement.h"
#include "platform/Services.h"
#include "records/Log.h"

#include <array>
#include <cmath>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <utility>

namespace selvar {

namespace {

constexpr Rect kInitialFrame{{0, 0}, {300, 60}};
constexpr double kInitialCornerRadius = 17;
// Moves closer together than this are one move, written to the preferences once.
constexpr double kOriginSettleSeconds = 0.5;

// Log lines and records show whole points, truncated like an integer conversion.
long long whole(double value) {
  return std::isfinite(value) ? static_cast<long long>(value) : 0;
}

double cornerRadius(HUDPreference style) {
  return style == HUDPreference::mini ? 12 : 16;
}

} // namespace

HUD::HUD(HudPanel &panel, const Screens &screens, Hooks hooks)
    : panel_(panel), screens_(screens), event_(std::move(hooks.event)),
      model_(std::move(hooks.mediaClock), std::move(hooks.triggerLabel)) {
  panel_.setFrame(kInitialFrame);
  panel_.setCornerRadius(kInitialCornerRadius);
  applyBackdrop(model_.material());
  panel_.host(model_);
  wireEvents();
  styleObserver_ =
      services().notifications->observe(kTriggerChangedNotification, [this] { styleChanged(); });
}

HUD::~HUD() {
  saveOrigin();
  services().notifications->removeObserver(styleObserver_);
  panel_.setEventHandlers({});
  panel_.unhost();
}

void HUD::wireEvents() {
  drag_.onDrag = [this](Point delta, Point grab) {
    panel_.setOrigin({grab.x + delta.x, grab.y + delta.y});
  };
  drag_.onDragEnd = [this] {
    rememberOrigin();
    saveOrigin();
  };
  HudPanel::Events events;
  events.mouseDown = [this](Point mouse) { drag_.mouseDown(mouse, panel_.frame().origin); };
  events.mouseDragged = [this](Point mouse) { drag_.mouseDragged(mouse); };
  events.mouseUp = [this] { drag_.mouseUp(); };
  events.moved = [this] { windowMoved(); };
  panel_.setEventHandlers(std::move(events));
}

void HUD::show(const std::string &state, std::optional<std::string> question) {
  model_.setState(state);
  model_.setQuestion(std::move(question));
  fitToContent();
  place();
  panel_.orderFront();
  const Rect frame = panel_.frame();
  if (event_)
    event_("hud.show",
           {{"state", state}, {"w", whole(frame.size.width)}, {"h", whole(frame.size.height)}});
  Log::write(fmt::format("hud shown at {},{} size={}x{}", whole(frame.minX()), whole(frame.minY()),
                         whole(frame.size.width), whole(frame.size.height)));
}

void HUD::hide() {
  if (event_) event_("hud.hide", nlohmann::json::object());
  panel_.orderOut();
  model_.setQuestion(std::nullopt);
  model_.reset();
}

void HUD::updateSpectrum(std::span<const float> bands) {
  if (bands.size() != HUDModel::kBandCount) {
    model_.push({});
    return;
  }
  std::array<double, HUDModel::kBandCount> values;
  std::copy(bands.begin(), bands.end(), values.begin());
  model_.push(values);
}

// A remembered origin wins while its screen is still attached; otherwise the default place.
void HUD::place() {
  saveOrigin(); // a move still settling is the place to go back to
  const Size size = panel_.frame().size;
  if (auto stored = Prefs::hudOrigin())
    if (auto visible = screen(*stored)) {
      panel_.setOrigin(HudPlacement::clampOrigin(*stored, size, *visible));
      return;
    }
  if (auto main = screens_.mainVisibleFrame())
    panel_.setOrigin(HudPlacement::defaultOrigin(size, *main));
}

// Grows up and to the right from the bottom-left corner, then stays on a screen.
void HUD::fitToContent() {
  const Size fitting = panel_.fittingSize();
  if (fitting.width <= 1 || fitting.height <= 1) return; // no content laid out yet
  panel_.setCornerRadius(cornerRadius(model_.style()));
  const Size size{std::ceil(fitting.width), std::ceil(fitting.height)};
  const Rect frame = panel_.frame();
  if (std::abs(size.width - frame.size.width) <= 0.5 &&
      std::abs(size.height - frame.size.height) <= 0.5)
    return;
  panel_.setFrame({frame.origin, size});
  clampToScreen();
}

void HUD::clampToScreen() {
  const Rect frame = panel_.frame();
  auto target = HudPlacement::screenIntersecting(frame, screens_.visibleFrames());
  if (!target) target = screens_.mainVisibleFrame();
  if (!target) return;
  panel_.setOrigin(HudPlacement::clampOrigin(frame.origin, frame.size, *target));
}

std::optional<Rect> HUD::screen(Point containing) const {
  return HudPlacement::screenContaining(containing, screens_.visibleFrames());
}

// Only a visible pill has a position worth keeping; moves while hidden are placement noise.
// Writing the preferences costs a file sync and rename on Linux, too much for every motion
// event of a drag: the write waits until the moves stop.
void HUD::rememberOrigin() {
  if (!panel_.isVisible()) return;
  const Point origin = panel_.frame().origin;
  Log::write(fmt::format("hud moved to {},{}", whole(origin.x), whole(origin.y)));
  unsavedOrigin_ = origin;
  cancelTimer(saveTimer_);
  saveTimer_ = services().mainQueue->scheduleTimer(kOriginSettleSeconds, [this] { saveOrigin(); });
}

void HUD::saveOrigin() {
  cancelTimer(saveTimer_);
  if (auto origin = std::exchange(unsavedOrigin_, std::nullopt)) Prefs::setHudOrigin(*origin);
}

void HUD::applyBackdrop(HUDMaterial material) {
  panel_.setBackdrop(material);
}

void HUD::styleChanged() {
  const HUDMaterial material = Prefs::hudMaterial();
  model_.setMaterial(material);
  applyBackdrop(material);
  const HUDPreference style = Prefs::hudStyle();
  model_.setStyle(style);
  fitToContent();
  Log::write(fmt::format("pill style refreshed: {}/{}", rawValue(style), rawValue(material)));
}

void HUD::windowMoved() {
  rememberOrigin();
}

} // namespace selvar
