#include "platform/linux/EvdevKeyboards.h"

#include "platform/linux/MacKeyCodes.h"
#include "records/Log.h"

#include <algorithm>
#include <cstring>
#include <linux/input-event-codes.h>

namespace selvar {

namespace {

// X11 key codes are evdev codes shifted by 8; the translator speaks X11 codes.
constexpr int kX11Offset = 8;

bool isDenied(int error) {
  return error == EACCES || error == EPERM;
}

} // namespace

std::size_t EvdevKeyboards::scan() {
  const std::vector<std::string> present = system_.devicePaths();
  auto isPresent = [&present](const std::string &path) {
    return std::find(present.begin(), present.end(), path) != present.end();
  };
  std::vector<std::string> vanished;
  for (const auto &[path, keyboard] : open_)
    if (!isPresent(path)) vanished.push_back(path);
  for (const auto &path : vanished)
    close(path, "removed");
  std::erase_if(notKeyboards_, [&](const std::string &p) { return !isPresent(p); });
  std::erase_if(denied_, [&](const std::string &p) { return !isPresent(p); });
  for (const auto &path : present)
    if (!open_.contains(path) && !notKeyboards_.contains(path)) tryOpen(path);
  return open_.size();
}

void EvdevKeyboards::tryOpen(const std::string &path) {
  EvdevOpened opened = system_.open(path);
  if (!opened.device) {
    // Said once a node: a scan follows every hot-plug event and would repeat it.
    if (isDenied(opened.error) && denied_.insert(path).second)
      Log::write("evdev: cannot read " + path + ": " + std::strerror(opened.error) +
                 " (add the user to the input group to use it)");
    else if (!isDenied(opened.error)) {
      // Not an input device after all; looked at again only if its node is made anew.
      Log::write("evdev: cannot open " + path + ": " + std::strerror(opened.error));
      notKeyboards_.insert(path);
    }
    return;
  }
  denied_.erase(path);
  if (!opened.device->isKeyboard()) {
    notKeyboards_.insert(path);
    return;
  }
  Log::write("evdev: reading keyboard \"" + opened.device->name() + "\" at " + path);
  const int fd = opened.device->fd();
  open_[path] = Keyboard{std::move(opened.device), {}};
  if (watch_) watch_(path, fd, true);
}

void EvdevKeyboards::close(const std::string &path, const char *why) {
  auto it = open_.find(path);
  if (it == open_.end()) return;
  Log::write("evdev: keyboard \"" + it->second.device->name() + "\" at " + path + " " + why);
  Keyboard keyboard = std::move(it->second);
  open_.erase(it);
  if (watch_) watch_(path, keyboard.device->fd(), false);
  // Whatever it still held is released, unless another keyboard holds the same key.
  for (int code : keyboard.held)
    if (!heldElsewhere(keyboard, code)) emit(translator_.release(code + kX11Offset));
}

void EvdevKeyboards::closeAll() {
  while (!open_.empty())
    close(open_.begin()->first, "closed");
}

void EvdevKeyboards::readable(const std::string &path) {
  auto it = open_.find(path);
  if (it == open_.end()) return;
  EvdevRead read = it->second.device->read();
  for (const EvdevEvent &event : read.events) {
    it = open_.find(path); // a sink may close keyboards
    if (it == open_.end()) return;
    if (event.type == EV_KEY) key(it->second, event.code, event.value);
  }
  if (read.gone) close(path, "is gone");
}

void EvdevKeyboards::key(Keyboard &keyboard, int code, int value) {
  if (value == 0) {
    if (!keyboard.held.erase(code) || heldElsewhere(keyboard, code)) return;
    emit(translator_.release(code + kX11Offset));
    return;
  }
  // A press, or an auto-repeat (a held modifier's repeats are no events, a key's are key-downs).
  keyboard.held.insert(code);
  emit(translator_.press(code + kX11Offset));
}

bool EvdevKeyboards::heldElsewhere(const Keyboard &keyboard, int code) const {
  return std::any_of(open_.begin(), open_.end(), [&](const auto &entry) {
    return &entry.second != &keyboard && entry.second.held.contains(code);
  });
}

void EvdevKeyboards::emit(const std::optional<KeyEvent> &event) {
  if (event && sink_) sink_(*event);
}

bool EvdevKeyboards::isKeyDown(int macKeyCode) const {
  auto code = MacKeyCodes::evdevFromMac(macKeyCode);
  return code && std::any_of(open_.begin(), open_.end(),
                             [&](const auto &entry) { return entry.second.held.contains(*code); });
}

} // namespace selvar
