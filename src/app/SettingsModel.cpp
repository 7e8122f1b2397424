#include "app/SettingsModel.h"

#include "app/LoginItem.h"
#include "app/Prefs.h"
#include "hotkeys/KeyChoices.h"
#include "platform/NotificationCenter.h"
#include "platform/PlatformCapabilities.h"
#include "platform/Services.h"
#include "platform/SettingsStore.h"
#include "platform/Workspace.h"
#include "records/Diagnostics.h"
#include "records/History.h"
#include "records/Log.h"
#include "support/Unicode.h"
#include "text/DictionaryStore.h"

#include <algorithm>
#include <set>

namespace selvar {

namespace {

const std::set<std::string, std::less<>> kPlainToggles{
    PrefKey::restoreClipboard,  PrefKey::stripFillers,      PrefKey::autoCapitalize,
    PrefKey::spokenPunctuation, PrefKey::trailingPeriod,    PrefKey::swallowEscapeWhileDictating,
    PrefKey::settingsExpanded,  PrefKey::rewriteAllowRemote};

// Free text, stored trimmed; an empty field removes the key so its default applies.
const std::set<std::string, std::less<>> kTextKeys{PrefKey::recognitionLanguage,
                                                   PrefKey::rewriteBaseURL, PrefKey::rewriteModel};

const std::set<std::string, std::less<>> kBindingKeys{
    PrefKey::customTriggerKey, PrefKey::customFeedbackKey, PrefKey::customPasteKey};

struct NumberRange {
  const char *key;
  std::int64_t minimum, maximum;
};
constexpr NumberRange kNumbers[] = {{PrefKey::autoStopMinutes, 0, 120},
                                    {PrefKey::rewriteBudgetMS, 100, 5000},
                                    {PrefKey::historyRetentionDays, 0, 3650}};

// Writes the raw value when it names a case of E.
template <typename E> bool storeRaw(const std::string &value, void (*store)(E)) {
  auto parsed = fromRawValue<E>(value);
  if (parsed) store(*parsed);
  return parsed.has_value();
}

void postTriggerChanged() {
  services().notifications->post(kTriggerChangedNotification);
}

// file:// URL of a local path, percent-encoding everything but unreserved characters and "/".
std::string fileURL(const std::filesystem::path &path) {
  static const char *hex = "0123456789ABCDEF";
  std::string url = "file://";
  for (unsigned char c : path.string()) {
    if (std::isalnum(c) || c == '/' || c == '-' || c == '_' || c == '.' || c == '~') {
      url += static_cast<char>(c);
    } else {
      url += '%';
      url += hex[c >> 4];
      url += hex[c & 15];
    }
  }
  return url;
}

void open(const std::string &url) {
  Workspace *workspace = services().workspace;
  if (!workspace || !workspace->openURL(url)) Log::write("settings: could not open " + url);
}

bool setEnumChoice(const std::string &key, const std::string &value) {
  if (key == PrefKey::trigger) {
    if (value == rawValue(Trigger::fnGlobe) && !platformCapabilities().fnKey) return true;
    return storeRaw<Trigger>(value, TriggerStore::setCurrent);
  }
  if (key == PrefKey::cancelKey) return storeRaw<CancelKey>(value, CancelKeyStore::setCurrent);
  if (key == PrefKey::pasteShortcut) {
    // The store posts nothing (the tap reads the chord at each key); the menu shows it.
    bool stored = storeRaw<PasteShortcut>(value, PasteShortcutStore::setCurrent);
    if (stored) postTriggerChanged();
    return stored;
  }
  if (key == PrefKey::theme) return storeRaw<Palette>(value, Prefs::setTheme);
  if (key == PrefKey::windowTextSize)
    return storeRaw<WindowTextSize>(value, Prefs::setWindowTextSize);
  if (key == PrefKey::hudStyle) return storeRaw<HUDPreference>(value, Prefs::setHudStyle);
  if (key == PrefKey::hudMaterial) return storeRaw<HUDMaterial>(value, Prefs::setHudMaterial);
  return false;
}

} // namespace

std::optional<double> EngineInstallState::fraction() const {
  if (total <= 0) return std::nullopt;
  return std::clamp(static_cast<double>(bytes) / static_cast<double>(total), 0.0, 1.0);
}

void SettingsModel::setToggle(const std::string &key, bool on) {
  if (key == PrefKey::launchAtLogin) {
    Prefs::setLaunchAtLogin(on);
    LoginItem::set(on);
  } else if (kPlainToggles.contains(key)) {
    Prefs::setBool(key.c_str(), on);
  }
}

void SettingsModel::setChoice(const std::string &key, const std::string &value) {
  if (setEnumChoice(key, value)) return;
  if (key == PrefKey::triggerMode && fromRawValue<TriggerMode>(value)) {
    Prefs::setString(PrefKey::triggerMode, value);
    postTriggerChanged(); // the controller and the tooltip follow the mode
  } else if (key == PrefKey::insertMode && fromRawValue<InsertMode>(value)) {
    Prefs::setString(PrefKey::insertMode, value);
  } else if (key == PrefKey::windowStyle && fromRawValue<WindowStyle>(value)) {
    Prefs::setString(PrefKey::windowStyle, value);
  } else if (key == PrefKey::pillOutline) {
    PillOutline outline = PillOutline::fromStored(value);
    if (outline.rawValue() == value) Prefs::setPillOutline(outline);
  }
}

void SettingsModel::setNumber(const std::string &key, std::int64_t value) {
  for (const auto &range : kNumbers) {
    if (key != range.key) continue;
    std::int64_t clamped = std::clamp(value, range.minimum, range.maximum);
    Prefs::setInt(range.key, clamped);
    if (key == PrefKey::historyRetentionDays) {
      History::purge(static_cast<int>(clamped));
      Diagnostics::purge(static_cast<int>(clamped));
    }
  }
}

void SettingsModel::setText(const std::string &key, const std::string &text) {
  if (!kTextKeys.contains(key)) return;
  std::string trimmed = trimWhitespace(text);
  if (trimmed.empty())
    services().settings->remove(key);
  else
    Prefs::setString(key.c_str(), trimmed);
}

void SettingsModel::setBinding(const std::string &key, const std::optional<KeyBinding> &binding) {
  if (kBindingKeys.contains(key)) Prefs::setBinding(binding, key.c_str());
}

void SettingsModel::chooseDictationEngine(const std::string &id) {
  auto engine = EngineCatalog::find(id, platformCapabilities());
  if (!engine || engine->kind != EngineKind::dictation || !engine->runsHere) return;
  Prefs::setString(PrefKey::dictationEngine, id);
  Prefs::setBool(PrefKey::dictationEngineChosen, true);
}

void SettingsModel::chooseRewriteEngine(const std::string &id) {
  auto engine = EngineCatalog::find(id, platformCapabilities());
  if (engine && engine->kind == EngineKind::rewrite && engine->runsHere)
    Prefs::setString(PrefKey::rewriteEngine, id);
}

void SettingsModel::setInstallState(const std::string &engineId, EngineInstallState state) {
  for (auto &[id, install] : installs_)
    if (id == engineId) {
      install = std::move(state);
      return;
    }
  installs_.emplace_back(engineId, std::move(state));
}

std::vector<EngineRow> SettingsModel::rows(const std::vector<EngineInfo> &engines,
                                           const std::string &selected) const {
  std::vector<EngineRow> out;
  for (const auto &engine : engines) {
    EngineRow row{engine, engine.id == selected, {}, false};
    for (const auto &[id, install] : installs_)
      if (id == engine.id) row.install = install;
    using Phase = EngineInstallState::Phase;
    row.canInstall = engine.runsHere && !engine.installModel.empty() &&
                     (row.install.phase == Phase::missing || row.install.phase == Phase::failed);
    out.push_back(std::move(row));
  }
  return out;
}

std::vector<EngineRow> SettingsModel::dictationEngines() const {
  return rows(EngineCatalog::dictationEngines(platformCapabilities()), Prefs::dictationEngine());
}

std::vector<EngineRow> SettingsModel::rewriteEngines() const {
  return rows(EngineCatalog::rewriteEngines(platformCapabilities()), Prefs::rewriteEngine());
}

std::vector<PermissionRow> SettingsModel::permissionRows() const {
  return Permissions::rows(platformCapabilities().onDeviceRecognizer);
}

void SettingsModel::openDictionary() {
  if (!DictionaryStore::createStarterFileIfMissing())
    Log::write("settings: could not create " + DictionaryStore::fileURL().string());
  open(fileURL(DictionaryStore::fileURL()));
}

void SettingsModel::revealLogs() {
  open(fileURL(Log::directory()));
}
void SettingsModel::revealHistory() {
  open(fileURL(History::directory()));
}
void SettingsModel::clearDiagnostics() {
  Diagnostics::clear();
}
void SettingsModel::openPermissionPane(PermissionPane pane) {
  open(url(pane));
}
void SettingsModel::resetPermissions() {
  Permissions::resetAll();
}

} // namespace selvar
