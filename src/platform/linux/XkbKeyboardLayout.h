#pragma once
// The keyboard layout of the X server: the unshifted character of a key in the active XKB
// group. Without a reachable display every key has no character.

#include "platform/KeyboardLayout.h"

#include <mutex>

struct _XDisplay;

namespace selvar {

class XkbKeyboardLayout : public KeyboardLayout {
public:
  // The display named by $DISPLAY, or the one given.
  explicit XkbKeyboardLayout(std::optional<std::string> displayName = std::nullopt);
  ~XkbKeyboardLayout() override;
  XkbKeyboardLayout(const XkbKeyboardLayout &) = delete;
  XkbKeyboardLayout &operator=(const XkbKeyboardLayout &) = delete;

  std::optional<std::string> characterForKeyCode(int macKeyCode) const override;

private:
  _XDisplay *display() const;

  std::optional<std::string> displayName_;
  mutable std::mutex mutex_;
  mutable _XDisplay *display_ = nullptr;
  mutable bool reportedMissing_ = false;
};

} // namespace selvar
