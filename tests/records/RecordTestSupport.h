#pragma once
// Small file and clock helpers for the records' tests.

#include "platform/MainQueue.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>

namespace selvar::recordtest {

inline void writeFile(const std::filesystem::path &path, const std::string &bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

inline std::string readFile(const std::filesystem::path &path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline void setModified(const std::filesystem::path &path, WallTime t) {
  std::filesystem::last_write_time(path, std::chrono::file_clock::from_sys(t));
}

inline WallTime utc(int y, unsigned mo, unsigned d, int h, int mi, int s) {
  using namespace std::chrono;
  return sys_days{year{y} / month{mo} / day{d}} + hours{h} + minutes{mi} + seconds{s};
}

// Sets TZ (a POSIX rule such as "CET-1CEST,M3.5.0,M10.5.0/3") for one test.
class ScopedTimeZone {
public:
  explicit ScopedTimeZone(const char *tz) {
    if (const char *old = std::getenv("TZ")) previous_ = old;
    ::setenv("TZ", tz, 1);
    ::tzset();
  }
  ~ScopedTimeZone() {
    if (previous_)
      ::setenv("TZ", previous_->c_str(), 1);
    else
      ::unsetenv("TZ");
    ::tzset();
  }
  ScopedTimeZone(const ScopedTimeZone &) = delete;
  ScopedTimeZone &operator=(const ScopedTimeZone &) = delete;

private:
  std::optional<std::string> previous_;
};

} // namespace selvar::recordtest
