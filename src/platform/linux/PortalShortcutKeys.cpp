#include "platform/linux/PortalShortcutKeys.h"

#include "app/Prefs.h"
#include "hotkeys/KeyBinding.h"
#include "hotkeys/KeyChoices.h"

namespace selvar::PortalShortcutKeys {

namespace {

// A bare right-hand modifier is no shortcut in the portal's notation, and Escape bound there
// would be taken from every application at all times, not only while dictating.
std::optional<std::string> preferredCancel(CancelKey key) {
  switch (key) {
  case CancelKey::escape:
    return std::nullopt;
  case CancelKey::controlPeriod:
    return "CTRL+period";
  case CancelKey::controlSlash:
    return "CTRL+slash";
  }
  return std::nullopt;
}

// The Command key of the stored chords is the Super (logo) key on a PC keyboard.
std::optional<std::string> preferredPasteLast() {
  if (Prefs::binding(PrefKey::customPasteKey)) return std::nullopt;
  switch (PasteShortcutStore::current()) {
  case PasteShortcut::controlCommandV:
    return "CTRL+LOGO+v";
  case PasteShortcut::controlOptionV:
    return "CTRL+ALT+v";
  case PasteShortcut::commandShiftV:
    return "SHIFT+LOGO+v";
  case PasteShortcut::disabled:
    return std::nullopt;
  }
  return std::nullopt;
}

std::optional<KeyEvent> pasteLastEvent() {
  if (auto custom = Prefs::binding(PrefKey::customPasteKey))
    return KeyEvent{KeyEvent::Type::keyDown, custom->keyCode, custom->modifiers};
  auto bits = modifierBits(PasteShortcutStore::current());
  if (!bits) return std::nullopt;
  return KeyEvent{KeyEvent::Type::keyDown, VirtualKey::v, *bits};
}

} // namespace

std::vector<PortalShortcut> shortcuts() {
  return {
      {std::string(kTrigger), "Dictate: start or finish (in hold mode, hold while speaking)",
       std::nullopt},
      {std::string(kCancel), "Cancel the dictation (twice discards it)",
       preferredCancel(CancelKeyStore::current())},
      {std::string(kPasteLast), "Paste the last dictation again", preferredPasteLast()},
  };
}

std::optional<KeyEvent> eventFor(std::string_view id, bool activated) {
  if (id == kTrigger) {
    const Trigger trigger = TriggerStore::current();
    return KeyEvent{KeyEvent::Type::flagsChanged, keyCode(trigger),
                    activated ? deviceMask(trigger) : 0};
  }
  if (!activated) return std::nullopt;
  if (id == kCancel) {
    const CancelKey key = CancelKeyStore::current();
    return KeyEvent{KeyEvent::Type::keyDown, keyCode(key), requiredModifier(key)};
  }
  if (id == kPasteLast) return pasteLastEvent();
  return std::nullopt;
}

} // namespace selvar::PortalShortcutKeys
