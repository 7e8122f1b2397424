#include "platform/linux/LinuxProcesses.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>

namespace selvar::LinuxProcesses {

std::string name(int pid) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/comm");
  std::string text;
  std::getline(in, text);
  return text;
}

std::vector<RunningApp> running() {
  std::vector<RunningApp> apps;
  std::error_code error;
  for (const auto &entry : std::filesystem::directory_iterator("/proc", error)) {
    const std::string folder = entry.path().filename().string();
    if (folder.empty() || folder.find_first_not_of("0123456789") != std::string::npos) continue;
    const int pid = std::stoi(folder);
    std::string command = name(pid);
    if (!command.empty()) apps.push_back({pid, command, command});
  }
  return apps;
}

bool isTerminated(int pid) {
  return pid <= 0 || (::kill(pid, 0) != 0 && errno == ESRCH);
}

} // namespace selvar::LinuxProcesses
