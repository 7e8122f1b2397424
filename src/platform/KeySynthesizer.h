#pragma once
// Synthetic keystrokes posted into the session as if typed (the paste chord).

#include <cstdint>

namespace selvar {

class KeySynthesizer {
public:
  virtual ~KeySynthesizer() = default;
  // Creates the key-down and key-up events for keyCode with the modifier flags, posts the
  // down, holds for holdSeconds and posts the up. An adapter may return before the up is
  // posted, so that the main loop can serve the clipboard the target asks for meanwhile.
  // False, with nothing posted, when either event cannot be created.
  virtual bool postKeystroke(int keyCode, std::uint64_t flags, double holdSeconds) = 0;
  // Whether keystrokes can reach other applications at all in this session. False where the
  // desktop offers no way (a Wayland compositor without a virtual keyboard, a refused
  // remote-desktop grant): dictated text is then only copied, and the user is told so.
  virtual bool canPostKeystrokes() const { return true; }
};

} // namespace selvar
