#include "platform/linux/XkbKeyboardLayout.h"

#include "platform/linux/MacKeyCodes.h"
#include "records/Log.h"

#include <X11/XKBlib.h>
#include <gdk/gdk.h>

namespace selvar {

namespace {

const char *reasonText(int reason) {
  switch (reason) {
  case XkbOD_BadLibraryVersion:
    return "Xlib's keyboard extension is too old";
  case XkbOD_ConnectionRefused:
    return "cannot connect to the display";
  case XkbOD_NonXkbServer:
    return "the server has no keyboard extension";
  case XkbOD_BadServerVersion:
    return "the server's keyboard extension is too old";
  default:
    return "unknown reason";
  }
}

// The keysym of the key at shift level 0 in the active group, or NoSymbol.
KeySym unshiftedKeySym(Display *display, KeyCode keyCode) {
  XkbStateRec state{};
  if (XkbGetState(display, XkbUseCoreKbd, &state) != Success) return NoSymbol;
  // Fetched per call so a layout switched since the last call is seen.
  XkbDescPtr xkb = XkbGetMap(display, XkbKeyTypesMask | XkbKeySymsMask, XkbUseCoreKbd);
  if (!xkb) return NoSymbol;
  KeySym sym = NoSymbol;
  if (keyCode >= xkb->min_key_code && keyCode <= xkb->max_key_code) {
    int groups = XkbKeyNumGroups(xkb, keyCode);
    // Keys with fewer groups than the active one wrap, as XKB does by default.
    if (groups > 0) sym = XkbKeySymEntry(xkb, keyCode, 0, state.group % groups);
  }
  XkbFreeKeyboard(xkb, 0, True);
  return sym;
}

std::optional<std::string> utf8ForKeySym(KeySym sym) {
  if (sym == NoSymbol) return std::nullopt;
  // X keysyms and GDK key values are the same numbers; GDK knows their Unicode characters.
  gunichar c = gdk_keyval_to_unicode(static_cast<guint>(sym));
  if (c == 0) return std::nullopt;
  char buffer[8] = {};
  int length = g_unichar_to_utf8(c, buffer);
  return std::string(buffer, static_cast<std::size_t>(length));
}

} // namespace

XkbKeyboardLayout::XkbKeyboardLayout(std::optional<std::string> displayName)
    : displayName_(std::move(displayName)) {}

XkbKeyboardLayout::~XkbKeyboardLayout() {
  if (display_) XCloseDisplay(display_);
}

Display *XkbKeyboardLayout::display() const {
  if (display_) return display_;
  int major = XkbMajorVersion, minor = XkbMinorVersion, reason = 0;
  std::string name = displayName_.value_or("");
  display_ = XkbOpenDisplay(displayName_ ? name.data() : nullptr, nullptr, nullptr, &major, &minor,
                            &reason);
  if (!display_ && !reportedMissing_) {
    reportedMissing_ = true;
    Log::write(std::string("keyboard layout unavailable: ") + reasonText(reason));
  }
  return display_;
}

std::optional<std::string> XkbKeyboardLayout::characterForKeyCode(int macKeyCode) const {
  auto x11 = MacKeyCodes::x11FromMac(macKeyCode);
  if (!x11) return std::nullopt;
  std::lock_guard lock(mutex_);
  Display *d = display();
  if (!d) return std::nullopt;
  return utf8ForKeySym(unshiftedKeySym(d, static_cast<KeyCode>(*x11)));
}

} // namespace selvar
