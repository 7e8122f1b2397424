#pragma once
// Synthetic keystrokes on wlroots compositors through a virtual keyboard
// (zwp_virtual_keyboard_v1) on a connection of its own. The keyboard carries its own US keymap,
// which the compositor hands to the focused client while the chord is typed, so the V key
// types "v" whatever the user's layout. The focused window cannot be read here, so a terminal
// gets Ctrl+V like everything else.

#include "platform/KeySynthesizer.h"
#include "platform/MainQueue.h"
#include "platform/linux/VirtualKeyChord.h"
#include "platform/linux/WaylandConnection.h"

#include <memory>
#include <vector>

struct wl_seat;
struct zwp_virtual_keyboard_manager_v1;
struct zwp_virtual_keyboard_v1;

namespace selvar {

class WaylandKeySynthesizer : public KeySynthesizer {
public:
  // Connects and sets the keyboard up; available() tells whether that worked.
  WaylandKeySynthesizer();
  ~WaylandKeySynthesizer() override;
  // The compositor offers virtual keyboards and this one is ready to type.
  bool available() const { return keyboard_ != nullptr; }
  // Returns once the key is down; the release follows holdSeconds later from the main queue,
  // which stays free meanwhile to serve the clipboard that the target asks for on the key-down.
  bool postKeystroke(int keyCode, std::uint64_t flags, double holdSeconds) override;
  // The two halves of a keystroke, for a hold whose end is not known in advance: the chord
  // stays down until releaseKeystroke(). False when nothing was sent.
  bool pressKeystroke(int keyCode, std::uint64_t flags);
  bool releaseKeystroke();

private:
  bool uploadKeymap();
  void send(const VirtualKeyStep &step);

  std::unique_ptr<WaylandConnection> connection_;
  wl_seat *seat_ = nullptr;
  zwp_virtual_keyboard_manager_v1 *manager_ = nullptr;
  zwp_virtual_keyboard_v1 *keyboard_ = nullptr;
  ModifierMasks masks_;
  std::uint32_t modifiers_ = 0;
  std::vector<VirtualKeyStep> held_; // the release steps of the chord that is down
  TimerRef releaseTimer_;
};

} // namespace selvar
