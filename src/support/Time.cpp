#include "support/Time.h"

#include "platform/Services.h"

#include <cstdio>
#include <ctime>
#include <fmt/format.h>

namespace selvar {

using namespace std::chrono;

WallTime wallNow() {
  if (auto *clock = services().clock) return clock->wallNow();
  return system_clock::now();
}

double monotonicNow() {
  if (auto *clock = services().clock) return clock->monotonicSeconds();
  return duration<double>(steady_clock::now().time_since_epoch()).count();
}

std::string formatIso8601(WallTime t, bool fractionalSeconds) {
  auto secs = floor<seconds>(t);
  std::time_t tt = system_clock::to_time_t(secs);
  std::tm tm{};
  gmtime_r(&tt, &tm);
  auto base = fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}", tm.tm_year + 1900, tm.tm_mon + 1,
                          tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec);
  if (!fractionalSeconds) return base + "Z";
  auto ms = duration_cast<milliseconds>(t - secs).count();
  return fmt::format("{}.{:03}Z", base, ms);
}

std::optional<WallTime> parseIso8601(std::string_view text) {
  std::string s(text);
  int y, mo, d, h, mi, sec, consumed = 0;
  if (std::sscanf(s.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d%n", &y, &mo, &d, &h, &mi, &sec, &consumed) !=
          6 ||
      consumed != 19)
    return std::nullopt;
  std::string_view rest = text.substr(19);
  double fraction = 0;
  if (!rest.empty() && rest.front() == '.') {
    std::size_t i = 1;
    double scale = 0.1;
    while (i < rest.size() && rest[i] >= '0' && rest[i] <= '9') {
      fraction += (rest[i] - '0') * scale;
      scale /= 10;
      ++i;
    }
    if (i == 1) return std::nullopt;
    rest.remove_prefix(i);
  }
  int offset = 0;
  if (rest == "Z") {
  } else if (rest.size() == 6 && (rest[0] == '+' || rest[0] == '-') && rest[3] == ':') {
    int oh = 0, om = 0;
    if (std::sscanf(std::string(rest).c_str() + 1, "%2d:%2d", &oh, &om) != 2) return std::nullopt;
    offset = (oh * 60 + om) * 60 * (rest[0] == '-' ? -1 : 1);
  } else {
    return std::nullopt;
  }
  if (mo < 1 || mo > 12 || d < 1 || d > 31 || h > 23 || mi > 59 || sec > 60) return std::nullopt;
  std::tm tm{};
  tm.tm_year = y - 1900;
  tm.tm_mon = mo - 1;
  tm.tm_mday = d;
  tm.tm_hour = h;
  tm.tm_min = mi;
  tm.tm_sec = sec;
  auto base = system_clock::from_time_t(timegm(&tm)) - seconds(offset);
  return base + duration_cast<system_clock::duration>(duration<double>(fraction));
}

std::string localDayString(WallTime t) {
  std::time_t tt = system_clock::to_time_t(t);
  std::tm tm{};
  localtime_r(&tt, &tm);
  return fmt::format("{:04}-{:02}-{:02}", tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday);
}

WallTime daysBefore(WallTime t, int days) {
  auto secs = floor<seconds>(t);
  std::time_t tt = system_clock::to_time_t(secs);
  std::tm tm{};
  localtime_r(&tt, &tm);
  tm.tm_mday -= days;
  tm.tm_isdst = -1; // keep the wall-clock time across a daylight-saving change
  return system_clock::from_time_t(mktime(&tm)) + (t - secs);
}

} // namespace selvar
