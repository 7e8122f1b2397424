#pragma once
// Every keyboard the user may read, as one stream of the core's key events. The devices are
// only read, never grabbed: the focused application still gets every key, so nothing can be
// swallowed. Keys held on a keyboard that vanishes are released, so an unplug (or a suspend
// that drops the device) never leaves the trigger held down.

#include "platform/KeyboardTap.h"
#include "platform/linux/EvdevInput.h"
#include "platform/linux/KeyEventTranslator.h"

#include <functional>
#include <map>
#include <set>

namespace selvar {

class EvdevKeyboards {
public:
  using Sink = std::function<void(const KeyEvent &)>;
  // Told when a keyboard is opened (to wait on its descriptor) and when it is closed.
  using DeviceWatch = std::function<void(const std::string &path, int fd, bool opened)>;

  explicit EvdevKeyboards(EvdevSystem &system) : system_(system) {}

  void setSink(Sink sink) { sink_ = std::move(sink); }
  void setDeviceWatch(DeviceWatch watch) { watch_ = std::move(watch); }

  // Opens the keyboards not open yet and closes those whose node is gone. Returns how many
  // keyboards are open.
  std::size_t scan();
  // Reads what the device reported and passes the key events on.
  void readable(const std::string &path);
  void closeAll();

  std::size_t keyboardCount() const { return open_.size(); }
  bool isKeyDown(int macKeyCode) const;
  // Nodes that exist but may not be read (not in the input group).
  const std::set<std::string> &deniedPaths() const { return denied_; }

private:
  struct Keyboard {
    std::unique_ptr<EvdevDevice> device;
    std::set<int> held; // evdev codes down on this keyboard
  };
  void tryOpen(const std::string &path);
  void close(const std::string &path, const char *why);
  void key(Keyboard &keyboard, int code, int value);
  bool heldElsewhere(const Keyboard &keyboard, int code) const;
  void emit(const std::optional<KeyEvent> &event);

  EvdevSystem &system_;
  Sink sink_;
  DeviceWatch watch_;
  KeyEventTranslator translator_;
  std::map<std::string, Keyboard> open_;
  std::set<std::string> notKeyboards_;
  std::set<std::string> denied_;
};

} // namespace selvar
