#include "platform/linux/LibevdevSystem.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <libevdev/libevdev.h>
#include <unistd.h>

namespace selvar {

namespace {

class LibevdevDevice : public EvdevDevice {
public:
  LibevdevDevice(int fd, libevdev *device) : fd_(fd), device_(device) {}
  ~LibevdevDevice() override {
    libevdev_free(device_);
    ::close(fd_);
  }
  LibevdevDevice(const LibevdevDevice &) = delete;
  LibevdevDevice &operator=(const LibevdevDevice &) = delete;

  std::string name() const override {
    const char *name = libevdev_get_name(device_);
    return name ? name : "";
  }
  // Letters and a right-hand modifier: a typing keyboard, not a power button or a mouse.
  bool isKeyboard() const override {
    return libevdev_has_event_code(device_, EV_KEY, KEY_A) &&
           libevdev_has_event_code(device_, EV_KEY, KEY_Z) &&
           (libevdev_has_event_code(device_, EV_KEY, KEY_RIGHTALT) ||
            libevdev_has_event_code(device_, EV_KEY, KEY_RIGHTCTRL));
  }
  int fd() const override { return fd_; }

  EvdevRead read() override {
    EvdevRead read;
    unsigned int flag = LIBEVDEV_READ_FLAG_NORMAL;
    for (;;) {
      input_event event{};
      const int status = libevdev_next_event(device_, flag, &event);
      if (status == LIBEVDEV_READ_STATUS_SYNC) {
        // The kernel dropped events: libevdev replays the differences as ordinary events.
        flag = LIBEVDEV_READ_FLAG_SYNC;
        read.events.push_back({event.type, event.code, event.value});
        continue;
      }
      if (status == LIBEVDEV_READ_STATUS_SUCCESS) {
        read.events.push_back({event.type, event.code, event.value});
        continue;
      }
      if (status == -EAGAIN && flag == LIBEVDEV_READ_FLAG_SYNC) {
        flag = LIBEVDEV_READ_FLAG_NORMAL;
        continue;
      }
      read.gone = status == -ENODEV;
      return read;
    }
  }

private:
  int fd_;
  libevdev *device_;
};

} // namespace

std::vector<std::string> LibevdevSystem::devicePaths() {
  std::vector<std::string> paths;
  std::error_code error;
  for (const auto &entry : std::filesystem::directory_iterator(folder_, error))
    if (entry.path().filename().string().starts_with("event")) paths.push_back(entry.path());
  std::sort(paths.begin(), paths.end());
  return paths;
}

EvdevOpened LibevdevSystem::open(const std::string &path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return {nullptr, errno};
  libevdev *device = nullptr;
  if (const int status = libevdev_new_from_fd(fd, &device); status < 0) {
    ::close(fd);
    return {nullptr, -status};
  }
  return {std::make_unique<LibevdevDevice>(fd, device), 0};
}

} // namespace selvar
