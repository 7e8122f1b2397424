#pragma once
// The trigger source that reads keyboards directly (/dev/input/event*), on any compositor,
// for users in the input group. It follows keyboards plugged in or out (inotify on the device
// folder, which also sees the nodes that vanish and return over a suspend), and it only
// observes: keys cannot be swallowed, so they also reach the focused application.

#include "platform/KeyboardTap.h"
#include "platform/linux/EvdevKeyboards.h"
#include "platform/linux/LibevdevSystem.h"

#include <glib.h>
#include <map>

namespace selvar {

class EvdevKeyboardTap : public KeyboardTap {
public:
  explicit EvdevKeyboardTap(std::filesystem::path folder = "/dev/input");
  ~EvdevKeyboardTap() override;
  EvdevKeyboardTap(const EvdevKeyboardTap &) = delete;
  EvdevKeyboardTap &operator=(const EvdevKeyboardTap &) = delete;

  // Whether at least one keyboard can be read right now.
  bool anyKeyboardReadable();
  const std::set<std::string> &deniedPaths() const { return keyboards_.deniedPaths(); }

  bool install(Handler handler) override;
  void remove() override;
  bool isInstalled() const override { return installed_; }
  void reenable() override {}
  bool isKeyDown(int keyCode) const override { return keyboards_.isKeyDown(keyCode); }
  std::string sourceName() const override { return "keyboards read directly (evdev)"; }
  KeyPassage keyPassage() const override { return KeyPassage::alsoReachApplication; }

private:
  static gboolean onDeviceReadable(gint fd, GIOCondition condition, gpointer self);
  static gboolean onFolderChanged(gint fd, GIOCondition condition, gpointer self);
  void watchDevice(const std::string &path, int fd, bool opened);
  void watchFolder();

  LibevdevSystem system_;
  EvdevKeyboards keyboards_;
  Handler handler_;
  bool installed_ = false;
  std::map<int, std::pair<std::string, guint>> deviceWatches_; // fd -> (path, source)
  int inotifyFd_ = -1;
  // The device whose callback runs: its source is removed by the callback's answer.
  int dispatchingFd_ = -1;
  guint folderWatch_ = 0;
};

} // namespace selvar
