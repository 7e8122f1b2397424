#pragma once
// The controller's keyboard side: keeps the session-wide event tap installed while Selvar is
// trusted for accessibility, recognises the trigger, cancel, Return, paste-last and custom
// keys, decides which key-downs are swallowed, and queues the actions on the main queue so the
// tap callback returns at once.

#include "hotkeys/ControlCommand.h"
#include "platform/KeyboardTap.h"

#include <memory>
#include <vector>

namespace selvar {

class DictationController;

class HotkeyHandler {
public:
  // How often the accessibility grant is looked at again, while waiting for it and afterwards
  // (to drop the tap when it is revoked).
  static constexpr double kRecheckSeconds = 3.0;

  explicit HotkeyHandler(DictationController &controller);
  ~HotkeyHandler();

  // Installs the tap once trusted, drops it when the grant is revoked, and keeps checking.
  void ensureInstalled();
  // The tap callback: true swallows the event.
  bool handle(const KeyEvent &event);
  void handleFlagsChanged(const KeyEvent &event);
  bool handleKeyDown(const KeyEvent &event);
  // The key-downs handleKeyDown would swallow right now, for taps that must claim them before
  // they are pressed; called whenever the answer may have changed.
  std::vector<SwallowedKey> swallowedKeys() const;
  void updateSwallowedKeys();
  // A key press sent by another program; called on the main thread.
  void commandReceived(ControlCommand command);

private:
  void installHotkey();
  void scheduleRecheck();
  void triggerDown(bool holdMode);
  void customTriggerPressed();
  bool dictating() const;

  DictationController &controller_;
  bool loggedAccessibilityWait_ = false;
  bool recheckScheduled_ = false;
  std::shared_ptr<int> lifetime_ = std::make_shared<int>(0);
};

} // namespace selvar
