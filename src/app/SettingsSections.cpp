// The preference controls of the settings window, section by section, with their current
// values read fresh from the store.

#include "app/Prefs.h"
#include "app/SettingsModel.h"
#include "hotkeys/DictationConflict.h"
#include "hotkeys/KeyChoices.h"
#include "platform/KeyboardTap.h"
#include "platform/PlatformCapabilities.h"
#include "platform/Services.h"
#include "platform/SettingsStore.h"
#include "servers/RewriteEndpoint.h"

namespace selvar {

namespace {

using Kind = SettingControl::Kind;

SettingControl toggle(const char *key, bool on, std::string title, std::string help = {}) {
  SettingControl c;
  c.key = key;
  c.kind = Kind::toggle;
  c.isOn = on;
  c.title = std::move(title);
  c.help = std::move(help);
  return c;
}

template <typename E, typename LabelFn>
SettingControl choice(const char *key, E current, std::string title, LabelFn label) {
  SettingControl c;
  c.key = key;
  c.kind = Kind::choice;
  c.title = std::move(title);
  for (E value : allCases<E>())
    c.options.push_back({std::string(rawValue(value)), std::string(label(value))});
  c.selected = std::string(rawValue(current));
  return c;
}

SettingControl stepper(const char *key, std::int64_t value, std::string title, std::int64_t minimum,
                       std::int64_t maximum, std::int64_t step, std::string unit,
                       std::string help) {
  SettingControl c;
  c.key = key;
  c.kind = Kind::stepper;
  c.title = std::move(title);
  c.number = value;
  c.minimum = minimum;
  c.maximum = maximum;
  c.step = step;
  c.unit = std::move(unit);
  c.help = std::move(help);
  return c;
}

SettingControl bindingControl(const char *key, std::string title, std::string help) {
  SettingControl c;
  c.key = key;
  c.kind = Kind::keyBinding;
  c.title = std::move(title);
  c.help = std::move(help);
  auto binding = Prefs::binding(key);
  c.text = binding ? binding->describe() : "None";
  return c;
}

const char *modeLabel(TriggerMode mode) {
  switch (mode) {
  case TriggerMode::toggle:
    return "Tap to start, tap to stop";
  case TriggerMode::hold:
    return "Hold while speaking";
  case TriggerMode::automatic:
    return "Automatic: stops when you pause";
  }
  return "";
}

const char *textSizeLabel(WindowTextSize size) {
  switch (size) {
  case WindowTextSize::small:
    return "Small";
  case WindowTextSize::normal:
    return "Normal";
  case WindowTextSize::large:
    return "Large";
  case WindowTextSize::extraLarge:
    return "Extra Large";
  }
  return "";
}

SettingsSection general() {
  return {"General",
          false,
          {toggle(PrefKey::launchAtLogin, Prefs::launchAtLogin(), "Start Selvar at login")}};
}

SettingsSection dictation() {
  SettingControl trigger = choice(PrefKey::trigger, TriggerStore::current(), "Trigger key",
                                  [](Trigger t) { return label(t); });
  trigger.warning = DictationConflict::warningText(DictationConflict::running());
  if (auto *tap = services().keyboardTap; tap && tap->isInstalled())
    trigger.help = "Keys heard through " + tap->sourceName() + ".";
  // No Fn key to offer where the keyboard reports none; a stored choice still shows.
  if (!platformCapabilities().fnKey)
    std::erase_if(trigger.options, [&trigger](const SettingOption &o) {
      return o.value == rawValue(Trigger::fnGlobe) && o.value != trigger.selected;
    });
  return {"Dictation",
          false,
          {trigger, choice(PrefKey::triggerMode, Prefs::triggerMode(), "Trigger mode", modeLabel),
           stepper(PrefKey::autoStopMinutes, Prefs::autoStopMinutes(), "Stop recording after", 0,
                   120, 1, "min", "0 means no limit.")}};
}

SettingsSection text() {
  return {"Text",
          false,
          {choice(PrefKey::insertMode, Prefs::insertMode(), "Deliver text",
                  [](InsertMode m) {
                    return m == InsertMode::paste ? "Paste into the app" : "Copy only";
                  }),
           toggle(PrefKey::restoreClipboard, Prefs::restoreClipboard(),
                  "Restore the clipboard after pasting"),
           toggle(PrefKey::stripFillers, Prefs::stripFillers(), "Remove filler words",
                  "um, uh, you know …"),
           toggle(PrefKey::autoCapitalize, Prefs::autoCapitalize(), "Capitalize sentences"),
           toggle(PrefKey::spokenPunctuation, Prefs::spokenPunctuation(), "Spoken punctuation",
                  "Say \"comma\" or \"new line\" to type it."),
           toggle(PrefKey::trailingPeriod, Prefs::trailingPeriod(), "End with a period")}};
}

SettingsSection keys() {
  return {"Keys",
          false,
          {choice(PrefKey::cancelKey, CancelKeyStore::current(), "Cancel key",
                  [](CancelKey k) { return label(k); }),
           toggle(PrefKey::swallowEscapeWhileDictating, Prefs::swallowEscapeWhileDictating(),
                  "Keep the cancel key from the app while recording"),
           choice(PrefKey::pasteShortcut, PasteShortcutStore::current(), "Paste last dictation",
                  [](PasteShortcut p) { return label(p); }),
           bindingControl(PrefKey::customTriggerKey, "Custom trigger key",
                          "Starts dictation like the trigger key."),
           bindingControl(PrefKey::customFeedbackKey, "Feedback key", "Dictate a feedback report."),
           bindingControl(PrefKey::customPasteKey, "Custom paste-last key",
                          "Used instead of the chord above.")}};
}

SettingControl pillOutlineControl() {
  PillOutline current = Prefs::pillOutline();
  SettingControl c;
  c.key = PrefKey::pillOutline;
  c.kind = Kind::choice;
  c.title = "Pill outline";
  c.options = {{"tint", "Theme tint"}, {"none", "None"}, {"black", "Black"}};
  if (current.kind == PillOutline::Kind::custom)
    c.options.push_back({current.hex, "Custom " + current.hex});
  c.selected = current.rawValue();
  return c;
}

SettingsSection appearance() {
  return {"Appearance",
          false,
          {choice(PrefKey::theme, Prefs::theme(), "Theme",
                  [](Palette p) {
                    return p == Palette::cyberpunk  ? "Cyberpunk"
                           : p == Palette::business ? "Business"
                                                    : "Midnight";
                  }),
           choice(PrefKey::windowStyle, Prefs::windowStyle(), "Window style",
                  [](WindowStyle s) { return s == WindowStyle::neon ? "Neon" : "Glass"; }),
           choice(PrefKey::windowTextSize, Prefs::windowTextSize(), "Text size", textSizeLabel),
           choice(PrefKey::hudStyle, Prefs::hudStyle(), "Pill",
                  [](HUDPreference p) { return p == HUDPreference::full ? "Full" : "Mini"; }),
           choice(PrefKey::hudMaterial, Prefs::hudMaterial(), "Pill surface",
                  [](HUDMaterial m) { return m == HUDMaterial::neon ? "Neon" : "Glass"; }),
           pillOutlineControl()}};
}

SettingControl textField(const char *key, std::string value, std::string title, std::string help) {
  SettingControl c;
  c.key = key;
  c.kind = Kind::text;
  c.title = std::move(title);
  c.help = std::move(help);
  c.text = std::move(value);
  return c;
}

// Where the rewrite stage sends text, and the warning that goes with a server elsewhere.
SettingControl rewriteServerControl() {
  std::string startCommand = platformCapabilities().rewriteStartCommand;
  if (startCommand.empty()) startCommand = LocalServer::rewriteEndpoint().startCommand;
  SettingControl c = textField(
      PrefKey::rewriteBaseURL, Prefs::rewriteBaseURL(), "Rewrite server",
      std::string("Any chat-completions server, e.g. http://127.0.0.1:11434 for Ollama; empty "
                  "uses ") +
          RewriteEndpoint::kDefaultBaseURL + ". Start one here with: " + startCommand);
  std::string wanted = Prefs::rewriteBaseURL();
  if (wanted.empty()) return c;
  auto url = RewriteEndpoint::parseBaseURL(wanted);
  if (!url)
    c.warning = "Not a server address such as http://127.0.0.1:8021; the rewrite stage is off.";
  else if (!RewriteEndpoint::isLoopbackHost(url->host))
    c.warning = Prefs::rewriteAllowRemote()
                    ? "Dictated text leaves this machine for " + url->host + "."
                    : url->host + " is another machine: allow that below, or nothing is sent.";
  return c;
}

SettingsSection advanced() {
  return {"Advanced",
          true,
          {stepper(PrefKey::rewriteBudgetMS, Prefs::rewriteBudgetMS(), "Rewrite budget", 100, 5000,
                   100, "ms", "Longer rewrites are dropped and the rules result is used."),
           rewriteServerControl(),
           textField(PrefKey::rewriteModel, Prefs::rewriteModel(), "Rewrite model",
                     std::string("The model id the server knows; empty sends ") +
                         LocalServer::rewriteEndpoint().model + "."),
           toggle(PrefKey::rewriteAllowRemote, Prefs::rewriteAllowRemote(),
                  "Allow a rewrite server on another machine",
                  "Dictated text then leaves this machine."),
           stepper(PrefKey::historyRetentionDays, Prefs::historyRetentionDays(),
                   "Keep history and diagnostics", 0, 3650, 1, "days", "0 keeps everything."),
           textField(PrefKey::recognitionLanguage, Prefs::recognitionLanguage().value_or(""),
                     "Recognition language", "A locale such as en-US; empty follows the system.")}};
}

} // namespace

std::vector<SettingsSection> SettingsModel::sections() const {
  std::vector<SettingsSection> all{general(), dictation(),  text(),
                                   keys(),    appearance(), advanced()};
  if (!expanded()) std::erase_if(all, [](const SettingsSection &s) { return s.extra; });
  return all;
}

bool SettingsModel::expanded() const {
  return Prefs::settingsExpanded();
}

void SettingsModel::setExpanded(bool on) {
  Prefs::setBool(PrefKey::settingsExpanded, on);
}

} // namespace selvar
