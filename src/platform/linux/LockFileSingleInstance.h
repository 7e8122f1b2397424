#pragma once
// One copy per session through an advisory lock on "selvar.lock" in a private folder of the
// user's: "selvar" in $XDG_RUNTIME_DIR, or "selvar-<uid>" in the temporary folder when there is
// no session folder (in SELVAR_HOME when set, so test homes run side by side). The lock dies
// with the process, so a crash never leaves a stale claim behind; the file holds the holder's
// pid for the message.
//
// The folder and the file are checked before the pid is written: a link, a file or folder of
// another user, or a folder others may write to is refused, since whoever controls them could
// point the write at one of the user's files.

#include "platform/SingleInstance.h"

#include <filesystem>

namespace selvar {

class LockFileSingleInstance : public SingleInstance {
public:
  explicit LockFileSingleInstance(std::filesystem::path lockFile);
  ~LockFileSingleInstance() override;
  LockFileSingleInstance(const LockFileSingleInstance &) = delete;
  LockFileSingleInstance &operator=(const LockFileSingleInstance &) = delete;

  // The one place that names the lock file; its folder is private to the user, so other
  // per-session files of the running copy belong beside it.
  static std::filesystem::path defaultLockFile();
  InstanceClaim claim() override;

private:
  bool openLockFile();

  std::filesystem::path path_;
  int fd_ = -1;
  bool held_ = false;
};

} // namespace selvar
