#include "platform/linux/WaylandKeySynthesizer.h"

#include "platform/Services.h"
#include "records/Log.h"
#include "virtual-keyboard-unstable-v1-client-protocol.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>
#include <wayland-client.h>
#include <xkbcommon/xkbcommon.h>

namespace selvar {

namespace {

template <typename T, void (*Free)(T *)> struct Freer {
  void operator()(T *p) const { Free(p); }
};
using XkbContext = std::unique_ptr<xkb_context, Freer<xkb_context, xkb_context_unref>>;
using XkbKeymap = std::unique_ptr<xkb_keymap, Freer<xkb_keymap, xkb_keymap_unref>>;

std::uint32_t modMask(xkb_keymap *keymap, const char *name) {
  xkb_mod_index_t index = xkb_keymap_mod_get_index(keymap, name);
  return index == XKB_MOD_INVALID ? 0 : 1u << index;
}

// A file holding the keymap text with its terminating NUL, as the protocol wants it.
int keymapFile(const std::string &text) {
  int fd = memfd_create("selvar-keymap", MFD_CLOEXEC);
  if (fd < 0) return -1;
  const char *data = text.c_str();
  std::size_t left = text.size() + 1;
  while (left > 0) {
    ssize_t written = write(fd, data, left);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) {
      close(fd);
      return -1;
    }
    data += written;
    left -= static_cast<std::size_t>(written);
  }
  return fd;
}

std::uint32_t nowMilliseconds() {
  auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<std::uint32_t>(
      std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

} // namespace

WaylandKeySynthesizer::WaylandKeySynthesizer() {
  connection_ = WaylandConnection::open("synthetic keys");
  if (!connection_) return;
  if (!connection_->offers(zwp_virtual_keyboard_manager_v1_interface)) return;
  seat_ = static_cast<wl_seat *>(connection_->bind(wl_seat_interface, 1));
  manager_ = static_cast<zwp_virtual_keyboard_manager_v1 *>(
      connection_->bind(zwp_virtual_keyboard_manager_v1_interface, 1));
  if (!seat_ || !manager_) {
    Log::write("keystroke: the compositor offers virtual keyboards but no seat");
    return;
  }
  keyboard_ = zwp_virtual_keyboard_manager_v1_create_virtual_keyboard(manager_, seat_);
  if (!uploadKeymap() || !connection_->roundtrip()) {
    zwp_virtual_keyboard_v1_destroy(keyboard_);
    keyboard_ = nullptr;
  }
}

WaylandKeySynthesizer::~WaylandKeySynthesizer() {
  cancelTimer(releaseTimer_);
  if (keyboard_) zwp_virtual_keyboard_v1_destroy(keyboard_);
  if (manager_) zwp_virtual_keyboard_manager_v1_destroy(manager_);
  if (seat_) wl_seat_destroy(seat_);
}

bool WaylandKeySynthesizer::uploadKeymap() {
  XkbContext context(xkb_context_new(XKB_CONTEXT_NO_ENVIRONMENT_NAMES));
  xkb_rule_names names{"evdev", "pc105", "us", "", ""};
  XkbKeymap keymap(
      context ? xkb_keymap_new_from_names(context.get(), &names, XKB_KEYMAP_COMPILE_NO_FLAGS)
              : nullptr);
  if (!keymap) {
    Log::write("keystroke: cannot compile a US keymap (are the xkb data files installed?)");
    return false;
  }
  masks_ = {modMask(keymap.get(), XKB_MOD_NAME_CTRL), modMask(keymap.get(), XKB_MOD_NAME_SHIFT),
            modMask(keymap.get(), XKB_MOD_NAME_ALT)};
  char *text = xkb_keymap_get_as_string(keymap.get(), XKB_KEYMAP_FORMAT_TEXT_V1);
  std::string keymapText = text ? text : "";
  std::free(text);
  int fd = keymapFile(keymapText);
  if (fd < 0) {
    Log::write(std::string("keystroke: cannot hand the keymap over: ") + std::strerror(errno));
    return false;
  }
  zwp_virtual_keyboard_v1_keymap(keyboard_, WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1, fd,
                                 static_cast<std::uint32_t>(keymapText.size() + 1));
  close(fd);
  return true;
}

void WaylandKeySynthesizer::send(const VirtualKeyStep &step) {
  zwp_virtual_keyboard_v1_key(keyboard_, nowMilliseconds(), step.evdevKey,
                              step.pressed ? WL_KEYBOARD_KEY_STATE_PRESSED
                                           : WL_KEYBOARD_KEY_STATE_RELEASED);
  if (step.modifiers == modifiers_) return;
  modifiers_ = step.modifiers;
  zwp_virtual_keyboard_v1_modifiers(keyboard_, modifiers_, 0, 0, 0);
}

bool WaylandKeySynthesizer::postKeystroke(int keyCode, std::uint64_t flags, double holdSeconds) {
  // A chord still down goes up first, so that two keystrokes never merge into one.
  if (releaseTimer_) releaseKeystroke();
  if (!pressKeystroke(keyCode, flags)) return false;
  // The compositor stamps nothing itself: the target sees the hold only if it really passes.
  releaseTimer_ = services().mainQueue->scheduleTimer(holdSeconds, [this] { releaseKeystroke(); });
  return true;
}

bool WaylandKeySynthesizer::pressKeystroke(int keyCode, std::uint64_t flags) {
  if (!keyboard_ || !held_.empty()) return false;
  auto chord = planChord(keyCode, flags, masks_);
  if (!chord) return false;
  for (const auto &step : chord->press)
    send(step);
  if (wl_display_flush(connection_->display()) < 0) {
    Log::write(std::string("keystroke: the compositor connection failed: ") + std::strerror(errno));
    return false;
  }
  held_ = chord->release;
  return true;
}

bool WaylandKeySynthesizer::releaseKeystroke() {
  cancelTimer(releaseTimer_);
  if (!keyboard_ || held_.empty()) return false;
  for (const auto &step : held_)
    send(step);
  held_.clear();
  // Also takes in what the compositor sent meanwhile, so its messages never pile up unread.
  return connection_->roundtrip();
}

} // namespace selvar
