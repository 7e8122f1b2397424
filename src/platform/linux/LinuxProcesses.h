#pragma once
// What both Linux workspaces know of processes without a window system: names from /proc,
// the running list and whether a process has ended.

#include "platform/Workspace.h"

#include <string>
#include <vector>

namespace selvar::LinuxProcesses {

// The short name of a running process ("/proc/<pid>/comm"); empty when it is gone.
std::string name(int pid);
// Every process with a name, the name standing for both the application's name and its id.
std::vector<RunningApp> running();
bool isTerminated(int pid);

} // namespace selvar::LinuxProcesses
