#pragma once
// One copy per session through an advisory lock on "selvar.lock" in $XDG_RUNTIME_DIR (in
// SELVAR_HOME when set, so test homes run side by side). The lock dies with the process, so a
// crash never leaves a stale claim behind; the file holds the holder's pid for the message.

#include "platform/SingleInstance.h"

#include <filesystem>

namespace selvar {

class LockFileSingleInstance : public SingleInstance {
public:
  explicit LockFileSingleInstance(std::filesystem::path lockFile);
  ~LockFileSingleInstance() override;
  LockFileSingleInstance(const LockFileSingleInstance &) = delete;
  LockFileSingleInstance &operator=(const LockFileSingleInstance &) = delete;

  static std::filesystem::path defaultLockFile();
  InstanceClaim claim() override;

private:
  std::filesystem::path path_;
  int fd_ = -1;
  bool held_ = false;
};

} // namespace selvar
