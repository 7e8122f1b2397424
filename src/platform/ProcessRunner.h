#pragma once
// Launching a helper program as a child process (the local transcription server) with its
// output going to a file, and stopping it again without leaving a zombie behind.

#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace selvar {

struct ProcessSpec {
  std::filesystem::path executable;
  std::vector<std::string> arguments; // without the program name
  // Added to (or replacing in) the application's own environment.
  std::vector<std::pair<std::string, std::string>> environment;
  // Standard output and standard error are both appended to this file.
  std::filesystem::path outputFile;
  // Where the child starts; empty keeps the application's own. Relative paths the child is
  // tricked into opening resolve here, so a child handling untrusted input gets a folder
  // holding nothing private.
  std::filesystem::path workingDirectory;
};

class ChildProcess {
public:
  virtual ~ChildProcess() = default;
  virtual int pid() const = 0;
  // False once the process has exited (and has then been reaped).
  virtual bool isRunning() = 0;
  // Asks the process (and anything it started) to stop, waits up to graceSeconds, then kills
  // it. Returns after the process has been reaped.
  virtual void terminate(double graceSeconds) = 0;
};

struct LaunchResult {
  std::unique_ptr<ChildProcess> process; // null when the launch failed
  std::string error;                     // why, when it failed
};

class ProcessRunner {
public:
  virtual ~ProcessRunner() = default;
  virtual LaunchResult launch(const ProcessSpec &spec) = 0;
};

} // namespace selvar
