#include "platform/linux/EvdevKeyboardTap.h"

#include "records/Log.h"

#include <cerrno>
#include <cstring>
#include <glib-unix.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace selvar {

EvdevKeyboardTap::EvdevKeyboardTap(std::filesystem::path folder)
    : system_(std::move(folder)), keyboards_(system_) {
  keyboards_.setDeviceWatch(
      [this](const std::string &path, int fd, bool opened) { watchDevice(path, fd, opened); });
}

EvdevKeyboardTap::~EvdevKeyboardTap() {
  remove();
}

bool EvdevKeyboardTap::anyKeyboardReadable() {
  if (installed_) return keyboards_.keyboardCount() > 0;
  const bool any = keyboards_.scan() > 0;
  keyboards_.closeAll();
  return any;
}

bool EvdevKeyboardTap::install(Handler handler) {
  remove();
  handler_ = std::move(handler);
  keyboards_.setSink([this](const KeyEvent &event) {
    if (handler_) handler_(event); // nothing can be swallowed: the answer is not used
  });
  installed_ = true;
  watchFolder();
  if (keyboards_.scan() == 0)
    Log::write("evdev: no readable keyboard yet; waiting for one to appear");
  return true;
}

void EvdevKeyboardTap::remove() {
  installed_ = false;
  keyboards_.closeAll();
  keyboards_.setSink(nullptr);
  if (folderWatch_) g_source_remove(folderWatch_);
  folderWatch_ = 0;
  if (inotifyFd_ >= 0) ::close(inotifyFd_);
  inotifyFd_ = -1;
}

void EvdevKeyboardTap::watchDevice(const std::string &path, int fd, bool opened) {
  if (fd < 0) return;
  if (!opened) {
    auto it = deviceWatches_.find(fd);
    if (it == deviceWatches_.end()) return;
    if (it->second.second && fd != dispatchingFd_) g_source_remove(it->second.second);
    deviceWatches_.erase(it);
    return;
  }
  if (!installed_) return; // a probe: the device is closed again at once
  const guint source = g_unix_fd_add(fd, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR),
                                     onDeviceReadable, this);
  deviceWatches_[fd] = {path, source};
}

gboolean EvdevKeyboardTap::onDeviceReadable(gint fd, GIOCondition, gpointer self) {
  auto *tap = static_cast<EvdevKeyboardTap *>(self);
  auto it = tap->deviceWatches_.find(fd);
  if (it == tap->deviceWatches_.end()) return G_SOURCE_REMOVE;
  const std::string path = it->second.first;
  tap->dispatchingFd_ = fd;
  tap->keyboards_.readable(path);
  tap->dispatchingFd_ = -1;
  // A keyboard that went away was closed (and its watch removed) while reading.
  auto still = tap->deviceWatches_.find(fd);
  if (still == tap->deviceWatches_.end() || still->second.first != path) return G_SOURCE_REMOVE;
  return G_SOURCE_CONTINUE;
}

void EvdevKeyboardTap::watchFolder() {
  inotifyFd_ = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  if (inotifyFd_ < 0 || ::inotify_add_watch(inotifyFd_, system_.folder().c_str(),
                                            IN_CREATE | IN_DELETE | IN_ATTRIB | IN_MOVED_TO) < 0) {
    Log::write("evdev: cannot follow plugged keyboards in " + system_.folder().string() + ": " +
               std::strerror(errno));
    if (inotifyFd_ >= 0) ::close(inotifyFd_);
    inotifyFd_ = -1;
    return;
  }
  folderWatch_ = g_unix_fd_add(inotifyFd_, G_IO_IN, onFolderChanged, this);
}

// Any change in the folder (a node created, its permissions set by udev a moment later, a node
// deleted) leads to a fresh scan; the scan only opens what is new and closes what is gone.
gboolean EvdevKeyboardTap::onFolderChanged(gint fd, GIOCondition, gpointer self) {
  alignas(inotify_event) char buffer[4096];
  while (::read(fd, buffer, sizeof buffer) > 0) {
  }
  static_cast<EvdevKeyboardTap *>(self)->keyboards_.scan();
  return G_SOURCE_CONTINUE;
}

} // namespace selvar
