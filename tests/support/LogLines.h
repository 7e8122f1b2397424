#pragma once
// The messages written to the log so far, without their timestamps.

#include "records/Log.h"

#include <fstream>
#include <string>
#include <vector>

namespace selvar::shelltest {

inline std::vector<std::string> logMessages() {
  Log::flush();
  std::vector<std::string> out;
  std::ifstream in(Log::directory() / "selvar.log");
  for (std::string line; std::getline(in, line);) {
    auto space = line.find(' ');
    out.push_back(space == std::string::npos ? line : line.substr(space + 1));
  }
  return out;
}

inline bool logHas(const std::string &message) {
  for (const auto &m : logMessages())
    if (m == message) return true;
  return false;
}

inline std::size_t logCountStartingWith(const std::string &prefix) {
  std::size_t n = 0;
  for (const auto &m : logMessages())
    if (m.rfind(prefix, 0) == 0) ++n;
  return n;
}

} // namespace selvar::shelltest
