#include "platform/linux/PrivateXServer.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace selvar::testing {

namespace {

// Xvfb writes its display number to the descriptor once it accepts clients; it closes it
// (end of file, nothing read) when it fails to start or is not installed.
std::string readDisplayNumber(int fd) {
  std::string number;
  char c;
  while (read(fd, &c, 1) == 1 && c != '\n')
    number += c;
  return number;
}

} // namespace

// Spawned rather than forked: the test process already runs threads (the log's writer).
PrivateXServer::PrivateXServer() {
  if (const char *display = std::getenv("DISPLAY")) previousDisplay_ = display;
  int fds[2];
  if (pipe(fds) != 0) return;
  // The server gets descriptor 3 for its display number and nothing else of ours: a
  // descriptor it kept open (a death test's pipe) would keep its reader waiting for good.
  const std::string fd = "3";
  const char *argv[] = {"Xvfb",       "-displayfd", fd.c_str(), "-screen",  "0",
                        "640x480x24", "-nolisten",  "tcp",      "-noreset", nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addclose(&actions, fds[0]);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
  posix_spawn_file_actions_adddup2(&actions, fds[1], 3);
  posix_spawn_file_actions_addclosefrom_np(&actions, 4);
  if (posix_spawnp(&pid_, "Xvfb", &actions, nullptr, const_cast<char *const *>(argv), environ) != 0)
    pid_ = -1;
  posix_spawn_file_actions_destroy(&actions);
  close(fds[1]);
  if (pid_ > 0) {
    const std::string number = readDisplayNumber(fds[0]);
    if (!number.empty()) name_ = ":" + number;
  }
  close(fds[0]);
  if (!name_.empty()) setenv("DISPLAY", name_.c_str(), 1);
}

PrivateXServer::~PrivateXServer() {
  if (pid_ > 0) {
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
  }
  if (previousDisplay_)
    setenv("DISPLAY", previousDisplay_->c_str(), 1);
  else
    unsetenv("DISPLAY");
}

} // namespace selvar::testing
