#include "hotkeys/KeyChoices.h"

#include "app/Prefs.h"
#include "platform/NotificationCenter.h"
#include "platform/PlatformCapabilities.h"
#include "platform/Services.h"
#include "platform/SettingsStore.h"

#include <string>

namespace selvar {

namespace {

// Each text comes in the Mac's wording and in a PC keyboard's; the platform says which.
struct Names {
  std::string_view mac, pc;
  std::string_view current() const { return platformCapabilities().pcKeyNames ? pc : mac; }
};

struct TriggerInfo {
  Names label, shortLabel;
  int keyCode;
  EventFlags mask;
};

const TriggerInfo &info(Trigger trigger) {
  static constexpr TriggerInfo table[] = {
      {{"Right Option (⌥)", "Right Alt"}, {"Right Option", "Right Alt"}, 61, 0x40},
      {{"Right Command (⌘)", "Right Super"}, {"Right Command", "Right Super"}, 54, 0x10},
      {{"Right Control (⌃)", "Right Ctrl"}, {"Right Control", "Right Ctrl"}, 62, 0x2000},
      {{"Fn / Globe", "Fn"}, {"Fn / Globe", "Fn"}, 63, 0x800000},
  };
  return table[static_cast<int>(trigger)];
}

struct CancelKeyInfo {
  Names label;
  int keyCode;
  EventFlags required;
};

const CancelKeyInfo &info(CancelKey key) {
  static constexpr CancelKeyInfo table[] = {
      {{"Escape (⎋)", "Escape"}, 53, 0},
      {{"Control . (⌃.)", "Ctrl+."}, 47, ModifierFlag::control},
      {{"Control / (⌃/)", "Ctrl+/"}, 44, ModifierFlag::control},
  };
  return table[static_cast<int>(key)];
}

template <typename E> E readChoice(const char *key) {
  auto s = services().settings->stringValue(key);
  return fromRawValueOrDefault<E>(s ? std::optional<std::string_view>(*s) : std::nullopt);
}

template <typename E> void writeChoice(const char *key, E value) {
  services().settings->setValue(key, std::string(rawValue(value)));
}

} // namespace

std::string_view label(Trigger trigger) {
  return info(trigger).label.current();
}
std::string_view shortLabel(Trigger trigger) {
  return info(trigger).shortLabel.current();
}
int keyCode(Trigger trigger) {
  return info(trigger).keyCode;
}
EventFlags deviceMask(Trigger trigger) {
  return info(trigger).mask;
}

std::string_view label(CancelKey key) {
  return info(key).label.current();
}
int keyCode(CancelKey key) {
  return info(key).keyCode;
}
EventFlags requiredModifier(CancelKey key) {
  return info(key).required;
}

bool matches(CancelKey key, int eventKeyCode, EventFlags flags) {
  const auto &k = info(key);
  return eventKeyCode == k.keyCode && (flags & k.required) == k.required;
}

std::string_view label(PasteShortcut shortcut) {
  static constexpr Names names[] = {
      {"⌃⌘V", "Ctrl+Super+V"}, {"⌃⌥V", "Ctrl+Alt+V"}, {"⇧⌘V", "Shift+Super+V"}, {"Off", "Off"}};
  switch (shortcut) {
  case PasteShortcut::controlCommandV:
    return names[0].current();
  case PasteShortcut::controlOptionV:
    return names[1].current();
  case PasteShortcut::commandShiftV:
    return names[2].current();
  case PasteShortcut::disabled:
    break;
  }
  return names[3].current();
}

std::optional<EventFlags> modifierBits(PasteShortcut shortcut) {
  switch (shortcut) {
  case PasteShortcut::controlCommandV:
    return ModifierFlag::control | ModifierFlag::command;
  case PasteShortcut::controlOptionV:
    return ModifierFlag::control | ModifierFlag::option;
  case PasteShortcut::commandShiftV:
    return ModifierFlag::command | ModifierFlag::shift;
  case PasteShortcut::disabled:
    return std::nullopt;
  }
  return std::nullopt;
}

bool matches(PasteShortcut shortcut, int eventKeyCode, EventFlags flags) {
  auto bits = modifierBits(shortcut);
  return bits && eventKeyCode == VirtualKey::v && (flags & ModifierFlag::chordMask) == *bits;
}

std::optional<bool> triggerState(Trigger trigger, int eventKeyCode, EventFlags flags,
                                 const std::function<bool(int keyCode)> &isKeyPressed) {
  const auto &t = info(trigger);
  if (eventKeyCode != t.keyCode) return std::nullopt;
  if (flags & t.mask) return true;
  return isKeyPressed && isKeyPressed(t.keyCode);
}

namespace TriggerStore {
Trigger current() {
  return readChoice<Trigger>(PrefKey::trigger);
}
void setCurrent(Trigger trigger) {
  writeChoice(PrefKey::trigger, trigger);
  services().notifications->post(kTriggerChangedNotification);
}
} // namespace TriggerStore

namespace CancelKeyStore {
CancelKey current() {
  return readChoice<CancelKey>(PrefKey::cancelKey);
}
void setCurrent(CancelKey key) {
  writeChoice(PrefKey::cancelKey, key);
  services().notifications->post(kTriggerChangedNotification);
  services().notifications->post(kCancelKeyChangedNotification);
}
} // namespace CancelKeyStore

namespace PasteShortcutStore {
PasteShortcut current() {
  return readChoice<PasteShortcut>(PrefKey::pasteShortcut);
}
void setCurrent(PasteShortcut shortcut) {
  writeChoice(PrefKey::pasteShortcut, shortcut);
}
} // namespace PasteShortcutStore

} // namespace selvar
