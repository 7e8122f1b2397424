#include "hotkeys/KeyChoices.h"

#include "app/Prefs.h"
#include "platform/NotificationCenter.h"
#include "platform/Services.h"
#include "platform/SettingsStore.h"

#include <string>

namespace selvar {

namespace {

struct TriggerInfo {
  std::string_view label, shortLabel;
  int keyCode;
  EventFlags mask;
};

const TriggerInfo &info(Trigger trigger) {
  static constexpr TriggerInfo table[] = {
      {"Right Option (⌥)", "Right Option", 61, 0x40},
      {"Right Command (⌘)", "Right Command", 54, 0x10},
      {"Right Control (⌃)", "Right Control", 62, 0x2000},
      {"Fn / Globe", "Fn / Globe", 63, 0x800000},
  };
  return table[static_cast<int>(trigger)];
}

struct CancelKeyInfo {
  std::string_view label;
  int keyCode;
  EventFlags required;
};

const CancelKeyInfo &info(CancelKey key) {
  static constexpr CancelKeyInfo table[] = {
      {"Escape (⎋)", 53, 0},
      {"Control . (⌃.)", 47, ModifierFlag::control},
      {"Control / (⌃/)", 44, ModifierFlag::control},
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
  return info(trigger).label;
}
std::string_view shortLabel(Trigger trigger) {
  return info(trigger).shortLabel;
}
int keyCode(Trigger trigger) {
  return info(trigger).keyCode;
}
EventFlags deviceMask(Trigger trigger) {
  return info(trigger).mask;
}

std::string_view label(CancelKey key) {
  return info(key).label;
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
  switch (shortcut) {
  case PasteShortcut::controlCommandV:
    return "⌃⌘V";
  case PasteShortcut::controlOptionV:
    return "⌃⌥V";
  case PasteShortcut::commandShiftV:
    return "⇧⌘V";
  case PasteShortcut::disabled:
    return "Off";
  }
  return "Off";
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
