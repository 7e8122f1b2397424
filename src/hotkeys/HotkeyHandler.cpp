#include "hotkeys/HotkeyHandler.h"

#include "app/Prefs.h"
#include "dictation/DictationController.h"
#include "hotkeys/KeyBinding.h"
#include "hotkeys/KeyChoices.h"
#include "platform/MainQueue.h"
#include "platform/PermissionAccess.h"
#include "platform/Services.h"
#include "records/Diagnostics.h"
#include "records/Log.h"

namespace selvar {

namespace {

const char *passageNote(KeyPassage passage) {
  switch (passage) {
  case KeyPassage::swallowedWhenClaimed:
    return "";
  case KeyPassage::alsoReachApplication:
    return "; keys also reach the focused application";
  case KeyPassage::onlyDesktopShortcuts:
    return "; only the desktop's shortcuts reach Selvar, and the desktop keeps them from "
           "applications";
  }
  return "";
}

KeyboardTap &tap() {
  return *services().keyboardTap;
}

// A custom key matches on its key code and exactly its modifiers among shift, control, option
// and command; device and lock bits are not looked at.
bool matchesBinding(const char *key, const KeyEvent &event) {
  auto binding = Prefs::binding(key);
  return binding && binding->keyCode == event.keyCode &&
         (binding->modifiers & ModifierFlag::chordMask) == (event.flags & ModifierFlag::chordMask);
}

bool isReturn(int keyCode) {
  return keyCode == VirtualKey::returnKey || keyCode == VirtualKey::keypadEnter;
}

} // namespace

HotkeyHandler::HotkeyHandler(DictationController &controller) : controller_(controller) {}

HotkeyHandler::~HotkeyHandler() {
  if (services().keyboardTap && tap().isInstalled()) tap().remove();
}

void HotkeyHandler::ensureInstalled() {
  bool trusted = services().permissions->accessibilityTrusted();
  if (tap().isInstalled()) {
    if (!trusted) {
      tap().remove();
      Log::write("Accessibility revoked; dropped the hotkey tap");
      Diagnostics::event("hotkey.revoked", {});
      controller_.stopMonitor();
    }
  } else if (trusted) {
    installHotkey();
  } else if (!loggedAccessibilityWait_) {
    Log::write("waiting for Accessibility grant before installing the hotkey");
    loggedAccessibilityWait_ = true;
  }
  if (services().permissions->accessibilityTrustCanChange()) scheduleRecheck();
}

void HotkeyHandler::installHotkey() {
  if (!tap().install([this](const KeyEvent &event) { return handle(event); })) {
    if (!loggedAccessibilityWait_)
      Log::write("waiting for Accessibility grant before installing the hotkey");
    loggedAccessibilityWait_ = true;
    return;
  }
  loggedAccessibilityWait_ = false;
  Log::write("hotkey installed trigger=" + std::string(rawValue(TriggerStore::current())));
  Log::write("trigger source: " + tap().sourceName() + passageNote(tap().keyPassage()));
  updateSwallowedKeys();
}

void HotkeyHandler::scheduleRecheck() {
  if (recheckScheduled_) return;
  recheckScheduled_ = true;
  services().mainQueue->asyncAfter(kRecheckSeconds, [this, life = std::weak_ptr<int>(lifetime_)] {
    if (life.expired()) return;
    recheckScheduled_ = false;
    ensureInstalled();
  });
}

bool HotkeyHandler::handle(const KeyEvent &event) {
  switch (event.type) {
  case KeyEvent::Type::tapDisabledByTimeout:
  case KeyEvent::Type::tapDisabledByUserInput:
    tap().reenable();
    Log::write("hotkey re-enabled after system disable");
    return false;
  case KeyEvent::Type::flagsChanged:
    handleFlagsChanged(event); // a bare modifier is never swallowed
    return false;
  case KeyEvent::Type::keyDown:
    return handleKeyDown(event);
  case KeyEvent::Type::other:
    return false;
  }
  return false;
}

void HotkeyHandler::handleFlagsChanged(const KeyEvent &event) {
  auto down = triggerState(TriggerStore::current(), event.keyCode, event.flags,
                           [](int keyCode) { return tap().isKeyDown(keyCode); });
  if (!down) return;
  auto mode = Prefs::triggerMode();
  Log::write("trigger " + std::string(*down ? "down" : "up") +
             " keycode=" + std::to_string(event.keyCode) + " mode=" + std::string(rawValue(mode)));
  bool hold = mode == TriggerMode::hold;
  if (!*down && !hold) return; // toggle and automatic act on the press only
  services().mainQueue->async([this, life = std::weak_ptr<int>(lifetime_), down = *down, hold] {
    if (life.expired()) return;
    if (down)
      triggerDown(hold);
    else
      controller_.endRecording();
  });
}

// In hold mode a press always means "speak now"; in the other modes it means "finish".
void HotkeyHandler::triggerDown(bool holdMode) {
  using State = DictationController::State;
  if (holdMode) {
    if (controller_.state() == State::transcribing) controller_.supersedeTranscription();
    controller_.disarmCancel();
    controller_.beginRecording();
    return;
  }
  if (controller_.disarmCancel()) return;
  switch (controller_.state()) {
  case State::idle:
    controller_.beginRecording();
    break;
  case State::listening:
    controller_.endRecording();
    break;
  case State::transcribing:
    controller_.supersedeTranscription();
    break;
  }
}

// A custom key has no release to wait for, so it always acts as a toggle press.
void HotkeyHandler::customTriggerPressed() {
  triggerDown(false);
}

bool HotkeyHandler::dictating() const {
  return controller_.state() != DictationController::State::idle || controller_.confirmationOpen();
}

bool HotkeyHandler::handleKeyDown(const KeyEvent &event) {
  auto act = [this](void (HotkeyHandler::*action)()) {
    services().mainQueue->async([this, action, life = std::weak_ptr<int>(lifetime_)] {
      if (life.expired()) return;
      (this->*action)();
      updateSwallowedKeys();
    });
  };
  auto onController = [this](void (DictationController::*action)()) {
    services().mainQueue->async([this, action, life = std::weak_ptr<int>(lifetime_)] {
      if (life.expired()) return;
      (controller_.*action)();
      updateSwallowedKeys();
    });
  };
  if (dictating() && matches(CancelKeyStore::current(), event.keyCode, event.flags)) {
    onController(&DictationController::escapePressed);
    return Prefs::swallowEscapeWhileDictating();
  }
  if (controller_.confirmationOpen() && isReturn(event.keyCode)) {
    onController(&DictationController::returnPressed);
    return true;
  }
  bool customPaste = Prefs::binding(PrefKey::customPasteKey).has_value();
  if (customPaste ? matchesBinding(PrefKey::customPasteKey, event)
                  : matches(PasteShortcutStore::current(), event.keyCode, event.flags)) {
    onController(&DictationController::pasteLast);
    return true;
  }
  if (matchesBinding(PrefKey::customTriggerKey, event)) {
    act(&HotkeyHandler::customTriggerPressed);
    return true;
  }
  if (matchesBinding(PrefKey::customFeedbackKey, event)) {
    Log::write("feedback hotkey");
    onController(&DictationController::beginFeedbackRecording);
    return true;
  }
  return false;
}

// Mirrors handleKeyDown: the cancel key while dictating (when it is kept from the application),
// Return while the confirmation is open, and the chords that are always consumed.
std::vector<SwallowedKey> HotkeyHandler::swallowedKeys() const {
  std::vector<SwallowedKey> keys;
  if (dictating() && Prefs::swallowEscapeWhileDictating()) {
    const CancelKey cancel = CancelKeyStore::current();
    keys.push_back({keyCode(cancel), requiredModifier(cancel), false});
  }
  if (controller_.confirmationOpen()) {
    keys.push_back({VirtualKey::returnKey, 0, false});
    keys.push_back({VirtualKey::keypadEnter, 0, false});
  }
  auto chord = [&keys](const std::optional<KeyBinding> &binding) {
    if (binding)
      keys.push_back({binding->keyCode, binding->modifiers & ModifierFlag::chordMask, true});
  };
  if (auto custom = Prefs::binding(PrefKey::customPasteKey))
    chord(custom);
  else if (auto bits = modifierBits(PasteShortcutStore::current()))
    keys.push_back({VirtualKey::v, *bits, true});
  chord(Prefs::binding(PrefKey::customTriggerKey));
  chord(Prefs::binding(PrefKey::customFeedbackKey));
  return keys;
}

// Mirrors the key handlers, minus the event: the command names the key and whether it went
// down or up, the trigger mode decides what that means.
void HotkeyHandler::commandReceived(ControlCommand command) {
  const TriggerMode mode = Prefs::triggerMode();
  Log::write("control command " + std::string(rawValue(command)) +
             " mode=" + std::string(rawValue(mode)));
  const bool hold = mode == TriggerMode::hold;
  switch (command) {
  case ControlCommand::toggle:
    triggerDown(false);
    break;
  case ControlCommand::start:
    triggerDown(hold);
    break;
  case ControlCommand::stop:
    if (hold) controller_.endRecording();
    break;
  case ControlCommand::cancel:
    if (dictating()) controller_.escapePressed();
    break;
  case ControlCommand::pasteLast:
    controller_.pasteLast();
    break;
  }
  updateSwallowedKeys();
}

void HotkeyHandler::updateSwallowedKeys() {
  if (services().keyboardTap && tap().isInstalled()) tap().setSwallowedKeys(swallowedKeys());
}

} // namespace selvar
