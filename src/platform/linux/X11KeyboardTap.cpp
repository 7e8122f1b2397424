#include "platform/linux/X11KeyboardTap.h"

#include "hotkeys/KeyChoices.h"
#include "platform/linux/MacKeyCodes.h"
#include "platform/linux/X11EventSource.h"
#include "platform/linux/X11Support.h"
#include "records/Log.h"

#include <X11/XKBlib.h>
#include <X11/extensions/XInput2.h>

namespace selvar {

namespace {

// The X modifier masks a core flag bit stands for; option is Alt (Mod1), command Super (Mod4).
unsigned int xModifiers(std::uint64_t flags) {
  unsigned int mask = 0;
  if (flags & ModifierFlag::shift) mask |= ShiftMask;
  if (flags & ModifierFlag::control) mask |= ControlMask;
  if (flags & ModifierFlag::option) mask |= Mod1Mask;
  if (flags & ModifierFlag::command) mask |= Mod4Mask;
  return mask;
}

// Lock-style modifiers (Caps Lock, Num Lock) never change what a key means.
constexpr unsigned int kLockModifiers[] = {0, LockMask, Mod2Mask, LockMask | Mod2Mask};

// A key is claimed under every modifier combination that includes the ones it needs (all of
// them when it needs none: one by one rather than with AnyModifier, so that another program's
// grab of, say, Alt+Escape costs only that combination); a chord only under exactly its own
// modifiers, give or take the lock modifiers.
std::vector<unsigned int> grabCombinations(const SwallowedKey &key) {
  const unsigned int required = xModifiers(key.requiredFlags);
  if (key.exactModifiers) {
    std::vector<unsigned int> out;
    for (unsigned int lock : kLockModifiers)
      out.push_back(required | lock);
    return out;
  }
  std::vector<unsigned int> out;
  for (unsigned int mods = 0; mods < 256; ++mods)
    if ((mods & required) == required) out.push_back(mods);
  return out;
}

} // namespace

X11KeyboardTap::~X11KeyboardTap() {
  remove();
}

bool X11KeyboardTap::openDisplay() {
  display_ = XOpenDisplay(nullptr);
  if (!display_) {
    Log::write("hotkey: cannot open the X display; global keys need X11");
    return false;
  }
  int event, error, major = 2, minor = 2;
  if (!XQueryExtension(display_, "XInputExtension", &xiOpcode_, &event, &error) ||
      XIQueryVersion(display_, &major, &minor) != Success) {
    Log::write("hotkey: the X server has no XInput 2; global keys are unavailable");
    XCloseDisplay(display_);
    display_ = nullptr;
    return false;
  }
  return true;
}

bool X11KeyboardTap::install(Handler handler) {
  if (display_) remove();
  if (!openDisplay()) return false;
  handler_ = std::move(handler);
  translator_.reset();
  unsigned char bits[XIMaskLen(XI_LASTEVENT)] = {};
  XISetMask(bits, XI_RawKeyPress);
  XISetMask(bits, XI_RawKeyRelease);
  XIEventMask mask{XIAllMasterDevices, int(sizeof(bits)), bits};
  XISelectEvents(display_, DefaultRootWindow(display_), &mask, 1);
  XFlush(display_);
  watch_ = X11EventSource::add(display_, onEvents, this);
  return true;
}

void X11KeyboardTap::remove() {
  if (!display_) return;
  setSwallowedKeys({});
  if (watch_) g_source_remove(watch_);
  watch_ = 0;
  XCloseDisplay(display_);
  display_ = nullptr;
  handler_ = nullptr;
}

bool X11KeyboardTap::isKeyDown(int keyCode) const {
  auto x11 = MacKeyCodes::x11FromMac(keyCode);
  if (!display_ || !x11) return false;
  char keys[32];
  XQueryKeymap(display_, keys);
  return (keys[*x11 / 8] >> (*x11 % 8)) & 1;
}

void X11KeyboardTap::grab(const SwallowedKey &key, bool on) {
  auto x11 = MacKeyCodes::x11FromMac(key.keyCode);
  if (!x11) return;
  const Window root = DefaultRootWindow(display_);
  X11ErrorTrap trap(display_);
  for (unsigned int mods : grabCombinations(key)) {
    if (on)
      XGrabKey(display_, *x11, mods, root, False, GrabModeAsync, GrabModeAsync);
    else
      XUngrabKey(display_, *x11, mods, root);
  }
  const int refused = trap.errors();
  if (refused && on)
    Log::write("hotkey: another program holds key " + std::to_string(key.keyCode) + " with " +
               std::to_string(refused) + " modifier combinations; those also reach the window");
}

void X11KeyboardTap::setSwallowedKeys(std::vector<SwallowedKey> keys) {
  if (!display_ || keys == swallowed_) return;
  for (const SwallowedKey &key : swallowed_)
    grab(key, false);
  swallowed_ = std::move(keys);
  for (const SwallowedKey &key : swallowed_)
    grab(key, true);
  XFlush(display_);
}

// Raw events carry every press and release; the key presses of a grab arrive here too but are
// only the grab's echo of a raw event already handled, so they are dropped.
void X11KeyboardTap::drainEvents() {
  while (display_ && XPending(display_)) {
    XEvent event;
    XNextEvent(display_, &event);
    XGenericEventCookie *cookie = &event.xcookie;
    if (cookie->type != GenericEvent || cookie->extension != xiOpcode_ ||
        !XGetEventData(display_, cookie))
      continue;
    const auto *raw = static_cast<const XIRawEvent *>(cookie->data);
    std::optional<KeyEvent> key;
    if (cookie->evtype == XI_RawKeyPress)
      key = translator_.press(raw->detail);
    else if (cookie->evtype == XI_RawKeyRelease)
      key = translator_.release(raw->detail);
    XFreeEventData(display_, cookie);
    if (key && handler_) handler_(*key);
  }
}

gboolean X11KeyboardTap::onEvents(gpointer self) {
  static_cast<X11KeyboardTap *>(self)->drainEvents();
  return G_SOURCE_CONTINUE;
}

} // namespace selvar
