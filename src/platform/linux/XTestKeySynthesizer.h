#pragma once
// Synthetic keystrokes on X11 through XTest. The core speaks of the paste chord as Command-V;
// on Linux that is Ctrl+V, and Ctrl+Shift+V when a terminal emulator has the focus. V is
// sent as whichever key types "v" in the current layout. On X11 the paste target fetches the
// clipboard from Selvar while the key is down, so the hold is left to the X server and the
// caller is not blocked (unlike where the system serves the clipboard itself).

#include "platform/KeySynthesizer.h"

#include <X11/Xlib.h>

namespace selvar {

class XTestKeySynthesizer : public KeySynthesizer {
public:
  ~XTestKeySynthesizer() override;
  bool postKeystroke(int keyCode, std::uint64_t flags, double holdSeconds) override;

private:
  Display *display();
  bool focusIsTerminal();

  Display *display_ = nullptr;
};

} // namespace selvar
