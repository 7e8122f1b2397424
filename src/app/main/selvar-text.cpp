// selvar-text: runs the text clean-up (or the word error rate) from the command line. The
// command itself lives in the core; this file installs the services it reads.

#include "platform/NotificationCenter.h"
#include "platform/Services.h"
#include "platform/linux/JsonFileSettingsStore.h"
#include "platform/linux/LinuxFileLocations.h"
#include "records/Log.h"
#include "text/TextCommand.h"

#include <iostream>
#include <iterator>

int main(int argc, char **argv) {
  using namespace selvar;
  static LinuxFileLocations files;
  static NotificationCenter notifications;
  static JsonFileSettingsStore settings(files.configDir() / JsonFileSettingsStore::kFileName);
  Services s;
  s.files = &files;
  s.notifications = &notifications;
  s.settings = &settings;
  installServices(s);

  std::vector<std::string> args(argv + 1, argv + argc);
  auto result = runTextCommand(args, [] {
    std::ios::sync_with_stdio(false);
    return std::string(std::istreambuf_iterator<char>(std::cin), {});
  });
  std::cout << result.out << std::flush;
  std::cerr << result.err << std::flush;
  Log::flush();
  return result.exitCode;
}
