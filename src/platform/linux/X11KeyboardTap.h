#pragma once
// The session-wide key watch on X11: XInput2 raw key events from every keyboard, observed on a
// private connection without grabbing anything, translated into the core's key events and
// handed to the handler on the main (GLib) thread. X11 cannot take back a key once observed,
// so keys the core wants swallowed are claimed in advance with a passive grab while it asks.

#include "platform/KeyboardTap.h"
#include "platform/linux/KeyEventTranslator.h"

#include <X11/Xlib.h>
#include <glib.h>

namespace selvar {

class X11KeyboardTap : public KeyboardTap {
public:
  X11KeyboardTap() = default;
  ~X11KeyboardTap() override;
  X11KeyboardTap(const X11KeyboardTap &) = delete;
  X11KeyboardTap &operator=(const X11KeyboardTap &) = delete;

  // False, with the reason in the log, without a display or XInput 2.
  bool install(Handler handler) override;
  void remove() override;
  bool isInstalled() const override { return display_ != nullptr; }
  // An XInput selection is never switched off by the server; nothing to do.
  void reenable() override {}
  bool isKeyDown(int keyCode) const override;
  void setSwallowedKeys(std::vector<SwallowedKey> keys) override;
  std::string sourceName() const override { return "X11 key grabs"; }
  KeyPassage keyPassage() const override { return KeyPassage::swallowedWhenClaimed; }

private:
  bool openDisplay();
  void grab(const SwallowedKey &key, bool on);
  void drainEvents();
  static gboolean onEvents(gpointer self);

  Display *display_ = nullptr;
  int xiOpcode_ = 0;
  guint watch_ = 0;
  Handler handler_;
  KeyEventTranslator translator_;
  std::vector<SwallowedKey> swallowed_;
};

} // namespace selvar
