#pragma once
// Says when the status menu's content may have changed: a dictation added to the history, a
// failed recording kept or retried, a key choice changed. Desktop trays do not ask for the menu
// as it opens, so the tray rebuilds it on these events (inotify underneath) rather than on a
// timer, and an idle Selvar stays asleep.

#include "platform/NotificationCenter.h"

#include <filesystem>
#include <functional>
#include <gio/gio.h>
#include <vector>

namespace selvar {

class StatusMenuWatch {
public:
  // `changed` runs on the main loop, once for a burst of events.
  StatusMenuWatch(const std::vector<std::filesystem::path> &folders, std::function<void()> changed);
  ~StatusMenuWatch();
  StatusMenuWatch(const StatusMenuWatch &) = delete;
  StatusMenuWatch &operator=(const StatusMenuWatch &) = delete;

private:
  void schedule();
  static void onFileEvent(GFileMonitor *, GFile *, GFile *, GFileMonitorEvent, gpointer self);
  static gboolean onIdle(gpointer self);

  std::function<void()> changed_;
  std::vector<GFileMonitor *> monitors_;
  NotificationCenter::Token observer_ = 0;
  guint idle_ = 0;
};

} // namespace selvar
