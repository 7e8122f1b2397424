#include "app/Prefs.h"

#include "platform/NotificationCenter.h"
#include "platform/Services.h"
#include "platform/SettingsStore.h"

#include <charconv>
#include <cmath>
#include <fmt/format.h>

namespace selvar {

double textScale(WindowTextSize size) {
  switch (size) {
  case WindowTextSize::small:
    return 1.0;
  case WindowTextSize::normal:
    return 1.18;
  case WindowTextSize::large:
    return 1.36;
  case WindowTextSize::extraLarge:
    return 1.55;
  }
  return 1.18;
}

namespace {

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::optional<double> parseNumber(std::string_view s) {
  while (!s.empty() && s.front() == ' ')
    s.remove_prefix(1);
  while (!s.empty() && s.back() == ' ')
    s.remove_suffix(1);
  if (!s.empty() && s.front() == '+') s.remove_prefix(1);
  double v = 0;
  auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), v);
  if (s.empty() || ec != std::errc() || end != s.data() + s.size() || !std::isfinite(v))
    return std::nullopt;
  return v;
}

SettingsStore &store() {
  return *services().settings;
}
void postTriggerChanged() {
  services().notifications->post(kTriggerChangedNotification);
}

template <typename E> E readEnum(const char *key) {
  auto s = store().stringValue(key);
  return fromRawValueOrDefault<E>(s ? std::optional<std::string_view>(*s) : std::nullopt);
}
template <typename E> void writeEnum(const char *key, E value, bool notify) {
  store().setValue(key, std::string(rawValue(value)));
  if (notify) postTriggerChanged();
}
bool readBool(const char *key, bool fallback) {
  return store().boolValue(key).value_or(fallback);
}
std::int64_t readInt(const char *key, std::int64_t fallback) {
  return store().intValue(key).value_or(fallback);
}

} // namespace

std::optional<RGBColor> parseHexColor(std::string_view text) {
  if (text.empty() || text.front() != '#') return std::nullopt;
  text.remove_prefix(1);
  if (text.size() != 3 && text.size() != 6) return std::nullopt;
  int digits[6];
  for (std::size_t i = 0; i < text.size(); ++i)
    if ((digits[i] = hexDigit(text[i])) < 0) return std::nullopt;
  auto channel = [&](int i) {
    return text.size() == 3 ? (digits[i] * 17) / 255.0
                            : (digits[2 * i] * 16 + digits[2 * i + 1]) / 255.0;
  };
  return RGBColor{channel(0), channel(1), channel(2)};
}

PillOutline PillOutline::fromStored(std::optional<std::string_view> stored) {
  if (!stored) return {};
  if (*stored == "none") return {Kind::none, {}};
  if (*stored == "black") return {Kind::black, {}};
  if (*stored == "tint") return {Kind::tint, {}};
  if (parseHexColor(*stored)) return {Kind::custom, std::string(*stored)};
  return {};
}

std::string PillOutline::rawValue() const {
  switch (kind) {
  case Kind::custom:
    return hex;
  case Kind::none:
    return "none";
  case Kind::black:
    return "black";
  case Kind::tint:
    return "tint";
  }
  return "tint";
}

std::optional<Point> parseOrigin(std::string_view text) {
  auto comma = text.find(',');
  if (comma == std::string_view::npos || text.find(',', comma + 1) != std::string_view::npos)
    return std::nullopt;
  auto x = parseNumber(text.substr(0, comma));
  auto y = parseNumber(text.substr(comma + 1));
  if (!x || !y) return std::nullopt;
  return Point{*x, *y};
}

std::string formatOrigin(Point p) {
  return fmt::format("{},{}", p.x, p.y);
}

namespace Prefs {

TriggerMode triggerMode() {
  return readEnum<TriggerMode>(PrefKey::triggerMode);
}
InsertMode insertMode() {
  return readEnum<InsertMode>(PrefKey::insertMode);
}
bool restoreClipboard() {
  return readBool(PrefKey::restoreClipboard, true);
}
bool stripFillers() {
  return readBool(PrefKey::stripFillers, true);
}
bool autoCapitalize() {
  return readBool(PrefKey::autoCapitalize, true);
}
bool spokenPunctuation() {
  return readBool(PrefKey::spokenPunctuation, false);
}
bool trailingPeriod() {
  return readBool(PrefKey::trailingPeriod, false);
}
bool swallowEscapeWhileDictating() {
  return readBool(PrefKey::swallowEscapeWhileDictating, true);
}
std::int64_t autoStopMinutes() {
  return readInt(PrefKey::autoStopMinutes, 0);
}
std::int64_t historyRetentionDays() {
  return readInt(PrefKey::historyRetentionDays, 0);
}
std::int64_t rewriteBudgetMS() {
  return readInt(PrefKey::rewriteBudgetMS, 400);
}
bool launchAtLogin() {
  return readBool(PrefKey::launchAtLogin, false);
}
Palette theme() {
  return readEnum<Palette>(PrefKey::theme);
}
WindowStyle windowStyle() {
  return readEnum<WindowStyle>(PrefKey::windowStyle);
}
WindowTextSize windowTextSize() {
  return readEnum<WindowTextSize>(PrefKey::windowTextSize);
}
HUDPreference hudStyle() {
  return readEnum<HUDPreference>(PrefKey::hudStyle);
}
HUDMaterial hudMaterial() {
  return readEnum<HUDMaterial>(PrefKey::hudMaterial);
}

PillOutline pillOutline() {
  auto s = store().stringValue(PrefKey::pillOutline);
  return PillOutline::fromStored(s ? std::optional<std::string_view>(*s) : std::nullopt);
}

std::optional<Point> hudOrigin() {
  auto s = store().stringValue(PrefKey::hudOrigin);
  return s ? parseOrigin(*s) : std::nullopt;
}

std::string dictationEngine() {
  return store().stringValue(PrefKey::dictationEngine).value_or("apple-on-device");
}
bool dictationEngineChosen() {
  return readBool(PrefKey::dictationEngineChosen, false);
}
std::string rewriteEngine() {
  return store().stringValue(PrefKey::rewriteEngine).value_or("rules-only");
}
std::string rewriteBaseURL() {
  return store().stringValue(PrefKey::rewriteBaseURL).value_or("");
}
std::string rewriteModel() {
  return store().stringValue(PrefKey::rewriteModel).value_or("");
}
bool rewriteAllowRemote() {
  return readBool(PrefKey::rewriteAllowRemote, false);
}
std::optional<std::string> recognitionLanguage() {
  return store().stringValue(PrefKey::recognitionLanguage);
}
bool settingsExpanded() {
  return readBool(PrefKey::settingsExpanded, false);
}

void setTheme(Palette value) {
  writeEnum(PrefKey::theme, value, true);
}
void setWindowTextSize(WindowTextSize value) {
  writeEnum(PrefKey::windowTextSize, value, false);
}
void setHudStyle(HUDPreference value) {
  writeEnum(PrefKey::hudStyle, value, true);
}
void setHudMaterial(HUDMaterial value) {
  writeEnum(PrefKey::hudMaterial, value, true);
}

void setPillOutline(const PillOutline &value) {
  store().setValue(PrefKey::pillOutline, value.rawValue());
  postTriggerChanged();
}

void setLaunchAtLogin(bool value) {
  store().setValue(PrefKey::launchAtLogin, value);
}

void setHudOrigin(std::optional<Point> value) {
  if (value)
    store().setValue(PrefKey::hudOrigin, formatOrigin(*value));
  else
    store().remove(PrefKey::hudOrigin);
}

void setString(const char *key, const std::string &value) {
  store().setValue(key, value);
}
void setBool(const char *key, bool value) {
  store().setValue(key, value);
}
void setInt(const char *key, std::int64_t value) {
  store().setValue(key, value);
}

} // namespace Prefs
} // namespace selvar
