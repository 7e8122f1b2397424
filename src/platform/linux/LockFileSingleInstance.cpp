#include "platform/linux/LockFileSingleInstance.h"

#include "records/Log.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/file.h>
#include <unistd.h>

namespace selvar {

namespace fs = std::filesystem;

namespace {

const char *env(const char *name) {
  const char *v = std::getenv(name);
  return v && *v ? v : nullptr;
}

int readPid(int fd) {
  char buffer[32] = {};
  ssize_t n = ::pread(fd, buffer, sizeof buffer - 1, 0);
  return n > 0 ? std::atoi(buffer) : 0;
}

void writePid(int fd) {
  std::string pid = std::to_string(::getpid()) + "\n";
  if (::ftruncate(fd, 0) != 0) return;
  [[maybe_unused]] auto written = ::pwrite(fd, pid.data(), pid.size(), 0);
}

} // namespace

LockFileSingleInstance::LockFileSingleInstance(fs::path lockFile) : path_(std::move(lockFile)) {}

LockFileSingleInstance::~LockFileSingleInstance() {
  if (fd_ >= 0) ::close(fd_);
}

fs::path LockFileSingleInstance::defaultLockFile() {
  if (const char *home = env("SELVAR_HOME")) return fs::path(home) / "selvar.lock";
  if (const char *runtime = env("XDG_RUNTIME_DIR")) return fs::path(runtime) / "selvar.lock";
  // No session folder: a per-user name in the shared temporary folder.
  return fs::temp_directory_path() / ("selvar-" + std::to_string(::getuid()) + ".lock");
}

InstanceClaim LockFileSingleInstance::claim() {
  if (held_) return {true, 0};
  if (fd_ < 0) {
    std::error_code ec;
    fs::create_directories(path_.parent_path(), ec);
    // Close-on-exec: a child (the transcription server) must not keep the claim alive.
    fd_ = ::open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd_ < 0) {
      // Without a lock file we cannot tell; running is better than refusing to start.
      Log::write("single instance: cannot open " + path_.string() + ": " + std::strerror(errno));
      return {true, 0};
    }
  }
  if (::flock(fd_, LOCK_EX | LOCK_NB) != 0) return {false, readPid(fd_)};
  writePid(fd_);
  held_ = true;
  return {true, 0};
}

} // namespace selvar
