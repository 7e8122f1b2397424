#include "platform/linux/PosixProcessRunner.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char **environ;

namespace selvar {

namespace {

class PosixChild : public ChildProcess {
public:
  explicit PosixChild(pid_t pid) : pid_(pid) {}
  // A child still running is left to run; one that has exited is reaped.
  ~PosixChild() override { isRunning(); }

  int pid() const override { return pid_; }

  bool isRunning() override {
    if (reaped_) return false;
    pid_t r = ::waitpid(pid_, nullptr, WNOHANG);
    if (r == 0) return true;
    if (r == -1 && errno == EINTR) return true;
    reaped_ = true; // exited now, or ECHILD: already reaped elsewhere
    return false;
  }

  void terminate(double graceSeconds) override {
    if (!isRunning()) return;
    signal(SIGTERM);
    auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(graceSeconds);
    while (std::chrono::steady_clock::now() < deadline) {
      if (!isRunning()) return;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    signal(SIGKILL);
    while (::waitpid(pid_, nullptr, 0) == -1 && errno == EINTR) {
    }
    reaped_ = true;
  }

private:
  void signal(int sig) {
    if (::kill(-pid_, sig) != 0) ::kill(pid_, sig);
  }
  pid_t pid_;
  bool reaped_ = false;
};

std::vector<std::string> environmentWith(const ProcessSpec &spec) {
  std::vector<std::string> env;
  for (char **e = environ; e && *e; ++e) {
    std::string entry(*e);
    bool replaced = false;
    for (const auto &[name, value] : spec.environment)
      replaced = replaced || entry.compare(0, name.size() + 1, name + "=") == 0;
    if (!replaced) env.push_back(std::move(entry));
  }
  for (const auto &[name, value] : spec.environment)
    env.push_back(name + "=" + value);
  return env;
}

std::vector<char *> pointers(std::vector<std::string> &strings) {
  std::vector<char *> out;
  for (auto &s : strings)
    out.push_back(s.data());
  out.push_back(nullptr);
  return out;
}

// Signals the child must see with their default meaning even when this process ignores them.
void resetSignals(posix_spawnattr_t &attr) {
  sigset_t defaults, empty;
  sigemptyset(&defaults);
  for (int sig : {SIGPIPE, SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGCHLD})
    sigaddset(&defaults, sig);
  sigemptyset(&empty);
  posix_spawnattr_setsigdefault(&attr, &defaults);
  posix_spawnattr_setsigmask(&attr, &empty);
  posix_spawnattr_setpgroup(&attr, 0);
  posix_spawnattr_setflags(&attr,
                           POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
}

void redirect(posix_spawn_file_actions_t &actions, const ProcessSpec &spec) {
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, spec.outputFile.c_str(),
                                   O_WRONLY | O_CREAT | O_APPEND, 0644);
  posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
  if (!spec.workingDirectory.empty())
    posix_spawn_file_actions_addchdir_np(&actions, spec.workingDirectory.c_str());
#if defined(__GLIBC__) && (__GLIBC__ > 2 || (__GLIBC__ == 2 && __GLIBC_MINOR__ >= 34))
  posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
#endif
}

} // namespace

LaunchResult PosixProcessRunner::launch(const ProcessSpec &spec) {
  std::vector<std::string> args{spec.executable.string()};
  args.insert(args.end(), spec.arguments.begin(), spec.arguments.end());
  std::vector<std::string> env = environmentWith(spec);
  auto argv = pointers(args);
  auto envp = pointers(env);

  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attr;
  posix_spawn_file_actions_init(&actions);
  posix_spawnattr_init(&attr);
  redirect(actions, spec);
  resetSignals(attr);
  pid_t pid = -1;
  int rc = ::posix_spawn(&pid, spec.executable.c_str(), &actions, &attr, argv.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attr);
  if (rc != 0) return {nullptr, spec.executable.string() + ": " + std::strerror(rc)};
  return {std::make_unique<PosixChild>(pid), {}};
}

} // namespace selvar
