#include "feedback/FeedbackSubmitter.h"

#include <cctype>
#include <sys/utsname.h>

namespace selvar::FeedbackSubmitter {

namespace {

// "6.1.0-18-amd64" → "6.1.0": the first three numbers, missing ones as 0.
std::optional<std::string> majorMinorPatch(std::string_view release) {
  std::string out;
  int parts = 0;
  std::size_t i = 0;
  while (parts < 3 && i < release.size() && std::isdigit(static_cast<unsigned char>(release[i]))) {
    if (parts > 0) out += '.';
    while (i < release.size() && std::isdigit(static_cast<unsigned char>(release[i])))
      out += release[i++];
    ++parts;
    if (i < release.size() && release[i] == '.') ++i;
  }
  if (parts == 0) return std::nullopt;
  for (; parts < 3; ++parts)
    out += ".0";
  return out;
}

std::string architectureName(std::string_view machine) {
  if (machine == "aarch64" || machine == "arm64") return "arm64";
  return std::string(machine);
}

} // namespace

SystemInfo currentSystemInfo() {
  SystemInfo info;
  info.appVersion = SELVAR_VERSION;
  struct utsname names {};
  if (::uname(&names) == 0) {
    info.osVersion = majorMinorPatch(names.release);
    if (names.machine[0]) info.architecture = architectureName(names.machine);
  }
  return info;
}

} // namespace selvar::FeedbackSubmitter
