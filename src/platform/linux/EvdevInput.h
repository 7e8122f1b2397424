#pragma once
// The kernel's input devices as the evdev trigger source reads them, small enough to fake: a
// list of device nodes, opening one, and reading what it reported since the last read.

#include <memory>
#include <string>
#include <vector>

namespace selvar {

struct EvdevEvent {
  int type = 0; // EV_KEY, EV_SYN …
  int code = 0;
  int value = 0; // for keys: 0 release, 1 press, 2 auto-repeat
};

struct EvdevRead {
  std::vector<EvdevEvent> events;
  bool gone = false; // the device was unplugged (or went away over a suspend)
};

class EvdevDevice {
public:
  virtual ~EvdevDevice() = default;
  virtual std::string name() const = 0;
  // Has the keys a typing keyboard has (power buttons and mice report keys too).
  virtual bool isKeyboard() const = 0;
  // The descriptor to wait on, -1 when there is none (fakes).
  virtual int fd() const = 0;
  virtual EvdevRead read() = 0;
};

struct EvdevOpened {
  std::unique_ptr<EvdevDevice> device;
  int error = 0; // errno when the node could not be opened
};

class EvdevSystem {
public:
  virtual ~EvdevSystem() = default;
  // The event device nodes present now ("/dev/input/event3" …).
  virtual std::vector<std::string> devicePaths() = 0;
  virtual EvdevOpened open(const std::string &path) = 0;
};

} // namespace selvar
