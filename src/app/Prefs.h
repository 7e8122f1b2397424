#pragma once
// Typed accessors over the settings store: one fixed key a setting, defaults applied on read,
// nothing cached and nothing written back on read.

#include "support/Geometry.h"
#include "support/RawEnum.h"

#include <cstdint>
#include <optional>
#include <string>

namespace selvar {

enum class TriggerMode { toggle, hold, automatic };
enum class InsertMode { paste, copyOnly };
enum class HUDPreference { full, mini };
enum class HUDMaterial { neon, glass };
enum class Palette { cyberpunk, business, midnight };
enum class WindowStyle { neon, glass };
enum class WindowTextSize { small, normal, large, extraLarge };

template <> struct RawEnumTraits<TriggerMode> {
  static constexpr std::array<std::pair<TriggerMode, std::string_view>, 3> cases{
      {{TriggerMode::toggle, "toggle"},
       {TriggerMode::hold, "hold"},
       {TriggerMode::automatic, "automatic"}}};
  static constexpr TriggerMode fallback = TriggerMode::toggle;
};
template <> struct RawEnumTraits<InsertMode> {
  static constexpr std::array<std::pair<InsertMode, std::string_view>, 2> cases{
      {{InsertMode::paste, "paste"}, {InsertMode::copyOnly, "copyOnly"}}};
  static constexpr InsertMode fallback = InsertMode::paste;
};
template <> struct RawEnumTraits<HUDPreference> {
  static constexpr std::array<std::pair<HUDPreference, std::string_view>, 2> cases{
      {{HUDPreference::full, "full"}, {HUDPreference::mini, "mini"}}};
  static constexpr HUDPreference fallback = HUDPreference::full;
};
template <> struct RawEnumTraits<HUDMaterial> {
  static constexpr std::array<std::pair<HUDMaterial, std::string_view>, 2> cases{
      {{HUDMaterial::neon, "neon"}, {HUDMaterial::glass, "glass"}}};
  static constexpr HUDMaterial fallback = HUDMaterial::neon;
};
template <> struct RawEnumTraits<Palette> {
  static constexpr std::array<std::pair<Palette, std::string_view>, 3> cases{
      {{Palette::cyberpunk, "cyberpunk"},
       {Palette::business, "business"},
       {Palette::midnight, "midnight"}}};
  static constexpr Palette fallback = Palette::cyberpunk;
};
template <> struct RawEnumTraits<WindowStyle> {
  static constexpr std::array<std::pair<WindowStyle, std::string_view>, 2> cases{
      {{WindowStyle::neon, "neon"}, {WindowStyle::glass, "glass"}}};
  static constexpr WindowStyle fallback = WindowStyle::neon;
};
template <> struct RawEnumTraits<WindowTextSize> {
  static constexpr std::array<std::pair<WindowTextSize, std::string_view>, 4> cases{
      {{WindowTextSize::small, "small"},
       {WindowTextSize::normal, "normal"},
       {WindowTextSize::large, "large"},
       {WindowTextSize::extraLarge, "extraLarge"}}};
  static constexpr WindowTextSize fallback = WindowTextSize::normal;
};

// Text scale the settings and feedback windows apply.
double textScale(WindowTextSize size);

struct RGBColor {
  double red = 0, green = 0, blue = 0; // 0…1
  friend bool operator==(const RGBColor &, const RGBColor &) = default;
};
// "#rgb" or "#rrggbb" (hex digits of either case).
std::optional<RGBColor> parseHexColor(std::string_view text);

struct PillOutline {
  enum class Kind { custom, tint, none, black };
  Kind kind = Kind::tint;
  std::string hex; // only for custom, the stored string itself ("#ff00aa")

  static PillOutline fromStored(std::optional<std::string_view> stored);
  std::string rawValue() const;
  friend bool operator==(const PillOutline &, const PillOutline &) = default;
};

// "12.5,300" → (12.5, 300); anything but exactly two numeric parts is absent.
std::optional<Point> parseOrigin(std::string_view text);
std::string formatOrigin(Point p);

namespace PrefKey {
inline constexpr const char *triggerMode = "triggerMode";
inline constexpr const char *insertMode = "insertMode";
inline constexpr const char *restoreClipboard = "restoreClipboard";
inline constexpr const char *stripFillers = "stripFillers";
inline constexpr const char *autoCapitalize = "autoCapitalize";
inline constexpr const char *spokenPunctuation = "spokenPunctuation";
inline constexpr const char *trailingPeriod = "trailingPeriod";
inline constexpr const char *swallowEscapeWhileDictating = "swallowEscapeWhileDictating";
inline constexpr const char *autoStopMinutes = "autoStopMinutes";
inline constexpr const char *historyRetentionDays = "historyRetentionDays";
inline constexpr const char *rewriteBudgetMS = "rewriteBudgetMS";
inline constexpr const char *launchAtLogin = "launchAtLogin";
inline constexpr const char *theme = "theme";
inline constexpr const char *windowStyle = "windowStyle";
inline constexpr const char *windowTextSize = "windowTextSize";
inline constexpr const char *hudStyle = "hudStyle";
inline constexpr const char *hudMaterial = "hudMaterial";
inline constexpr const char *pillOutline = "pillOutline";
inline constexpr const char *hudOrigin = "hudOrigin";
inline constexpr const char *dictationEngine = "dictationEngine";
inline constexpr const char *dictationEngineChosen = "dictationEngineChosen";
inline constexpr const char *rewriteEngine = "rewriteEngine";
inline constexpr const char *rewriteBaseURL = "rewriteBaseURL";
inline constexpr const char *rewriteModel = "rewriteModel";
inline constexpr const char *rewriteAllowRemote = "rewriteAllowRemote";
inline constexpr const char *recognitionLanguage = "recognitionLanguage";
inline constexpr const char *settingsExpanded = "settingsExpanded";
inline constexpr const char *trigger = "trigger";
inline constexpr const char *cancelKey = "cancelKey";
inline constexpr const char *pasteShortcut = "pasteShortcut";
inline constexpr const char *customTriggerKey = "customTriggerKey";
inline constexpr const char *customFeedbackKey = "customFeedbackKey";
inline constexpr const char *customPasteKey = "customPasteKey";
inline constexpr const char *feedbackEndpoint = "feedbackEndpoint";
inline constexpr const char *installID = "installID";
} // namespace PrefKey

namespace Prefs {
TriggerMode triggerMode();
InsertMode insertMode();
bool restoreClipboard();
bool stripFillers();
bool autoCapitalize();
bool spokenPunctuation();
bool trailingPeriod();
bool swallowEscapeWhileDictating();
std::int64_t autoStopMinutes();
std::int64_t historyRetentionDays();
std::int64_t rewriteBudgetMS();
bool launchAtLogin();
Palette theme();
WindowStyle windowStyle();
WindowTextSize windowTextSize();
HUDPreference hudStyle();
HUDMaterial hudMaterial();
PillOutline pillOutline();
std::optional<Point> hudOrigin();
std::string dictationEngine();
bool dictationEngineChosen();
std::string rewriteEngine();
// The rewrite server's address and model id; empty means the built-in 127.0.0.1:8021 and
// model. A server on another machine is used only while rewriteAllowRemote is on.
std::string rewriteBaseURL();
std::string rewriteModel();
bool rewriteAllowRemote();
std::optional<std::string> recognitionLanguage();
bool settingsExpanded();

// Appearance writes post "Selvar.triggerChanged"; text size and login item post nothing.
void setTheme(Palette value);
void setWindowTextSize(WindowTextSize value);
void setHudStyle(HUDPreference value);
void setHudMaterial(HUDMaterial value);
void setPillOutline(const PillOutline &value);
void setLaunchAtLogin(bool value);
void setHudOrigin(std::optional<Point> value);

// Plain writes for the settings window's bound controls.
void setString(const char *key, const std::string &value);
void setBool(const char *key, bool value);
void setInt(const char *key, std::int64_t value);
} // namespace Prefs

} // namespace selvar
