#include "platform/macos/ProcessRunnerAdapter.h"

#include "platform/macos/ObjCBridge.h"

#import <Foundation/Foundation.h>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <thread>
#include <unistd.h>

namespace selvar {

namespace {

class TaskChild : public ChildProcess {
public:
  explicit TaskChild(NSTask *task) : task_(task) {}

  int pid() const override { return task_.processIdentifier; }
  bool isRunning() override { return task_.running; }

  // NSTask reaps the child itself; this only waits until it has.
  void terminate(double graceSeconds) override {
    if (!task_.running) return;
    signal(SIGTERM);
    if (waitForExit(graceSeconds)) return;
    signal(SIGKILL);
    while (task_.running)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }

private:
  void signal(int sig) {
    const pid_t pid = task_.processIdentifier;
    if (::kill(-pid, sig) != 0) ::kill(pid, sig);
  }

  bool waitForExit(double seconds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (task_.running) {
      if (std::chrono::steady_clock::now() >= deadline) return false;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
  }

  NSTask *task_;
};

NSDictionary<NSString *, NSString *> *environmentFor(const ProcessSpec &spec) {
  NSMutableDictionary<NSString *, NSString *> *environment =
      [[NSProcessInfo processInfo].environment mutableCopy];
  for (const auto &[name, value] : spec.environment)
    environment[nsString(name)] = nsString(value);
  return environment;
}

} // namespace

LaunchResult ProcessRunnerAdapter::launch(const ProcessSpec &spec) {
  const int fd = ::open(spec.outputFile.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  if (fd < 0) return {nullptr, spec.outputFile.string() + ": " + std::strerror(errno)};
  NSFileHandle *output = [[NSFileHandle alloc] initWithFileDescriptor:fd closeOnDealloc:YES];

  NSMutableArray<NSString *> *arguments = [NSMutableArray array];
  for (const auto &argument : spec.arguments)
    [arguments addObject:nsString(argument)];

  NSTask *task = [[NSTask alloc] init];
  task.executableURL = [NSURL fileURLWithPath:nsString(spec.executable.string())];
  task.arguments = arguments;
  task.environment = environmentFor(spec);
  if (!spec.workingDirectory.empty())
    task.currentDirectoryURL = [NSURL fileURLWithPath:nsString(spec.workingDirectory.string())
                                          isDirectory:YES];
  task.standardInput = [NSFileHandle fileHandleWithNullDevice];
  task.standardOutput = output;
  task.standardError = output;
  NSError *error = nil;
  if (![task launchAndReturnError:&error])
    return {nullptr, spec.executable.string() + ": " + describe(error)};
  return {std::make_unique<TaskChild>(task), {}};
}

} // namespace selvar
