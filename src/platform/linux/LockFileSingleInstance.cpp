#include "platform/linux/LockFileSingleInstance.h"

#include "records/Log.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <optional>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
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

// Why the folder may not hold the lock, or nothing when it may. Looked at without following a
// link, the way ssh-agent checks its socket folder.
std::optional<std::string> folderProblem(const fs::path &folder) {
  struct stat st {};
  if (::lstat(folder.c_str(), &st) != 0) return std::string(std::strerror(errno));
  if (S_ISLNK(st.st_mode)) return std::string("it is a symbolic link");
  if (!S_ISDIR(st.st_mode)) return std::string("it is not a folder");
  if (st.st_uid != ::getuid()) return fmt::format("it belongs to user {}", st.st_uid);
  if ((st.st_mode & (S_IWGRP | S_IWOTH)) != 0)
    return fmt::format("others may write to it (mode {:o})", st.st_mode & 07777);
  return std::nullopt;
}

std::optional<std::string> fileProblem(int fd) {
  struct stat st {};
  if (::fstat(fd, &st) != 0) return std::string(std::strerror(errno));
  if (!S_ISREG(st.st_mode)) return std::string("it is not a regular file");
  if (st.st_uid != ::getuid()) return fmt::format("it belongs to user {}", st.st_uid);
  // A hard link to another of the user's files would have its contents replaced by the pid.
  if (st.st_nlink != 1) return fmt::format("it has {} links", st.st_nlink);
  return std::nullopt;
}

} // namespace

LockFileSingleInstance::LockFileSingleInstance(fs::path lockFile) : path_(std::move(lockFile)) {}

LockFileSingleInstance::~LockFileSingleInstance() {
  if (fd_ >= 0) ::close(fd_);
}

fs::path LockFileSingleInstance::defaultLockFile() {
  if (const char *home = env("SELVAR_HOME")) return fs::path(home) / "selvar.lock";
  if (const char *runtime = env("XDG_RUNTIME_DIR"))
    return fs::path(runtime) / "selvar" / "selvar.lock";
  std::error_code ec;
  fs::path temp = fs::temp_directory_path(ec);
  if (ec) temp = "/tmp";
  return temp / ("selvar-" + std::to_string(::getuid())) / "selvar.lock";
}

// On any refusal the app still runs: without a trustworthy lock file it cannot tell, and
// running is better than refusing to start.
bool LockFileSingleInstance::openLockFile() {
  fs::path folder = path_.parent_path();
  std::error_code ec;
  if (!folder.parent_path().empty()) fs::create_directories(folder.parent_path(), ec);
  // Made private from the start; an existing folder keeps its mode and is checked below.
  if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
    Log::write(fmt::format("single instance: cannot create {}: {}", folder.string(),
                           std::strerror(errno)));
    return false;
  }
  if (auto problem = folderProblem(folder)) {
    Log::write(
        fmt::format("single instance: not using {} for the lock: {}", folder.string(), *problem));
    return false;
  }
  // Close-on-exec: a child (the transcription server) must not keep the claim alive.
  int fd = ::open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
  if (fd < 0) {
    Log::write("single instance: cannot open " + path_.string() + ": " + std::strerror(errno));
    return false;
  }
  if (auto problem = fileProblem(fd)) {
    ::close(fd);
    Log::write(fmt::format("single instance: not using {}: {}", path_.string(), *problem));
    return false;
  }
  fd_ = fd;
  return true;
}

InstanceClaim LockFileSingleInstance::claim() {
  if (held_) return {true, 0};
  if (fd_ < 0 && !openLockFile()) return {true, 0};
  if (::flock(fd_, LOCK_EX | LOCK_NB) != 0) return {false, readPid(fd_)};
  writePid(fd_);
  held_ = true;
  return {true, 0};
}

} // namespace selvar
