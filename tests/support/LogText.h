#pragma once
// Reading back what the code under test wrote to the (temporary) log.

#include "records/Log.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace selvar::testing {

// Every log line so far, without the timestamps.
inline std::vector<std::string> logMessages() {
  Log::flush();
  auto files = Log::rotatedFilesNewestFirst();
  std::vector<std::string> out;
  for (auto file = files.rbegin(); file != files.rend(); ++file) {
    std::ifstream in(*file);
    for (std::string line; std::getline(in, line);) {
      auto space = line.find(' ');
      out.push_back(space == std::string::npos ? line : line.substr(space + 1));
    }
  }
  return out;
}

// How many log lines contain the fragment.
inline std::size_t logCount(const std::string &fragment) {
  auto lines = logMessages();
  return static_cast<std::size_t>(std::count_if(
      lines.begin(), lines.end(), [&](auto &l) { return l.find(fragment) != std::string::npos; }));
}

inline bool logHas(const std::string &fragment) {
  return logCount(fragment) > 0;
}

} // namespace selvar::testing
