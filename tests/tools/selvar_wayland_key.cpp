// Types one chord through Selvar's virtual keyboard on the compositor in WAYLAND_DISPLAY, for
// the end-to-end test: "selvar_wayland_key" sends the paste chord (Ctrl+V). Exit status 0 when
// the compositor took it, 2 when it offers no virtual keyboard, 1 on any other failure.

#include "hotkeys/KeyChoices.h"
#include "platform/linux/WaylandKeySynthesizer.h"
#include "records/Log.h"

#include <cstdio>

int main() {
  selvar::WaylandKeySynthesizer keys;
  if (!keys.available()) {
    std::fprintf(stderr, "selvar_wayland_key: no virtual keyboard on this compositor\n");
    return 2;
  }
  if (!keys.postKeystroke(selvar::VirtualKey::v, selvar::ModifierFlag::command, 0.02)) {
    std::fprintf(stderr, "selvar_wayland_key: the keystroke was not taken\n");
    return 1;
  }
  return 0;
}
