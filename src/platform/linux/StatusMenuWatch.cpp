#include "platform/linux/StatusMenuWatch.h"

#include "platform/Services.h"
#include "records/Log.h"

namespace selvar {

StatusMenuWatch::StatusMenuWatch(const std::vector<std::filesystem::path> &folders,
                                 std::function<void()> changed)
    : changed_(std::move(changed)) {
  for (const auto &folder : folders) {
    GFile *file = g_file_new_for_path(folder.c_str());
    GError *error = nullptr;
    GFileMonitor *monitor = g_file_monitor_directory(file, G_FILE_MONITOR_NONE, nullptr, &error);
    g_object_unref(file);
    if (!monitor) {
      Log::write("status menu: cannot watch " + folder.string() + ": " +
                 (error ? error->message : "unknown error"));
      if (error) g_error_free(error);
      continue;
    }
    g_signal_connect(monitor, "changed", G_CALLBACK(onFileEvent), this);
    monitors_.push_back(monitor);
  }
  observer_ =
      services().notifications->observe(kTriggerChangedNotification, [this] { schedule(); });
}

StatusMenuWatch::~StatusMenuWatch() {
  services().notifications->removeObserver(observer_);
  for (GFileMonitor *monitor : monitors_) {
    g_signal_handlers_disconnect_by_data(monitor, this);
    g_file_monitor_cancel(monitor);
    g_object_unref(monitor);
  }
  if (idle_) g_source_remove(idle_);
}

void StatusMenuWatch::schedule() {
  if (!idle_) idle_ = g_idle_add(onIdle, this);
}

void StatusMenuWatch::onFileEvent(GFileMonitor *, GFile *, GFile *, GFileMonitorEvent,
                                  gpointer self) {
  static_cast<StatusMenuWatch *>(self)->schedule();
}

gboolean StatusMenuWatch::onIdle(gpointer self) {
  auto *watch = static_cast<StatusMenuWatch *>(self);
  watch->idle_ = 0;
  if (watch->changed_) watch->changed_();
  return G_SOURCE_REMOVE;
}

} // namespace selvar
