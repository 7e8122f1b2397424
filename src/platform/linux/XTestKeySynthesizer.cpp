#include "platform/linux/XTestKeySynthesizer.h"

#include "hotkeys/KeyChoices.h"
#include "platform/linux/MacKeyCodes.h"
#include "platform/linux/TerminalClasses.h"
#include "platform/linux/X11Support.h"
#include "records/Log.h"

#include <X11/extensions/XTest.h>
#include <X11/keysym.h>
#include <vector>

namespace selvar {

XTestKeySynthesizer::~XTestKeySynthesizer() {
  if (display_) XCloseDisplay(display_);
}

Display *XTestKeySynthesizer::display() {
  if (display_) return display_;
  display_ = XOpenDisplay(nullptr);
  int event, error, major, minor;
  if (display_ && !XTestQueryExtension(display_, &event, &error, &major, &minor)) {
    Log::write("keystroke: the X server has no XTest extension");
    XCloseDisplay(display_);
    display_ = nullptr;
  }
  return display_;
}

bool XTestKeySynthesizer::focusIsTerminal() {
  return TerminalClasses::isTerminal(
      X11Windows::windowClass(display_, X11Windows::activeWindow(display_)));
}

bool XTestKeySynthesizer::postKeystroke(int keyCode, std::uint64_t flags, double holdSeconds) {
  if (!display()) return false;
  KeyCode key = 0;
  if (keyCode == VirtualKey::v) key = XKeysymToKeycode(display_, XK_v);
  if (!key)
    if (auto x11 = MacKeyCodes::x11FromMac(keyCode)) key = KeyCode(*x11);
  if (!key) return false;

  bool control = flags & (ModifierFlag::command | ModifierFlag::control);
  bool shift = flags & ModifierFlag::shift;
  if (keyCode == VirtualKey::v && (flags & ModifierFlag::command) && focusIsTerminal())
    shift = true;
  std::vector<KeyCode> modifiers;
  if (control) modifiers.push_back(XKeysymToKeycode(display_, XK_Control_L));
  if (shift) modifiers.push_back(XKeysymToKeycode(display_, XK_Shift_L));
  if (flags & ModifierFlag::option) modifiers.push_back(XKeysymToKeycode(display_, XK_Alt_L));

  for (KeyCode m : modifiers)
    XTestFakeKeyEvent(display_, m, True, CurrentTime);
  XTestFakeKeyEvent(display_, key, True, CurrentTime);
  // The server holds the key for us (it processes the release, and what follows on this
  // connection, only after the delay), so the main loop is free to serve the clipboard the
  // target asks for on the key-down.
  XTestFakeKeyEvent(display_, key, False, static_cast<unsigned long>(holdSeconds * 1000));
  for (auto it = modifiers.rbegin(); it != modifiers.rend(); ++it)
    XTestFakeKeyEvent(display_, *it, False, CurrentTime);
  XFlush(display_);
  return true;
}

} // namespace selvar
