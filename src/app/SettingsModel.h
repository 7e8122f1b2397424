#pragma once
// The settings window as data both platforms draw: every preference grouped into sections with
// its choices and current value, the engine table with install state, the permission rows, the
// dictionary and record folders. Edits go through here so each one has its usual effect (a
// notification, a login-item change, a purge).

#include "hotkeys/KeyBinding.h"
#include "permissions/Permissions.h"
#include "servers/EngineCatalog.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace selvar {

struct SettingOption {
  std::string value; // the stored raw value
  std::string label;
  friend bool operator==(const SettingOption &, const SettingOption &) = default;
};

struct SettingControl {
  enum class Kind { toggle, choice, stepper, keyBinding, text };
  std::string key; // the preference key it edits
  std::string title;
  std::string help;
  Kind kind = Kind::toggle;
  // toggle
  bool isOn = false;
  // choice
  std::vector<SettingOption> options;
  std::string selected;
  // stepper
  std::int64_t number = 0, minimum = 0, maximum = 0, step = 1;
  std::string unit;
  // keyBinding and text
  std::string text;
  // Shown beside the control; the conflict warning next to the trigger.
  std::string warning;
};

struct SettingsSection {
  std::string title;
  bool extra = false; // shown only with "settingsExpanded"
  std::vector<SettingControl> controls;
};

// Where a server engine's model download stands.
struct EngineInstallState {
  enum class Phase { unknown, missing, downloading, ready, failed };
  Phase phase = Phase::unknown;
  std::int64_t bytes = 0, total = 0;
  std::string error;
  // 0…1 while the size is known, else nothing.
  std::optional<double> fraction() const;
  friend bool operator==(const EngineInstallState &, const EngineInstallState &) = default;
};

struct EngineRow {
  EngineInfo engine;
  bool selected = false;
  EngineInstallState install;
  // The Install button shows for a server engine whose model is missing or failed.
  bool canInstall = false;
};

class SettingsModel {
public:
  // Reads everything fresh; call again after any edit to redraw.
  std::vector<SettingsSection> sections() const;
  std::vector<EngineRow> dictationEngines() const;
  std::vector<EngineRow> rewriteEngines() const;
  std::vector<PermissionRow> permissionRows() const;
  bool expanded() const;
  void setExpanded(bool expanded);

  // Edits, by preference key. Unknown keys and values outside a control's choices are ignored.
  void setToggle(const std::string &key, bool on);
  void setChoice(const std::string &key, const std::string &value);
  void setNumber(const std::string &key, std::int64_t value);
  void setText(const std::string &key, const std::string &text);
  void setBinding(const std::string &key, const std::optional<KeyBinding> &binding);
  // The user's own pick, which start-up then never replaces.
  void chooseDictationEngine(const std::string &id);
  void chooseRewriteEngine(const std::string &id);

  // Install progress comes from the engine installer (see EngineInstaller).
  void setInstallState(const std::string &engineId, EngineInstallState state);

  // Opens the dictionary file, writing the starter file first when there is none.
  void openDictionary();
  void revealLogs();
  void revealHistory();
  void clearDiagnostics();
  void openPermissionPane(PermissionPane pane);
  void resetPermissions();

private:
  std::vector<EngineRow> rows(const std::vector<EngineInfo> &engines,
                              const std::string &selected) const;
  std::vector<std::pair<std::string, EngineInstallState>> installs_;
};

} // namespace selvar
