#include "platform/linux/UnameSystemInfo.h"

#include <cctype>
#include <sys/utsname.h>

namespace selvar {

std::optional<std::string> UnameSystemInfo::releaseVersion(std::string_view release) {
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

std::string UnameSystemInfo::architectureName(std::string_view machine) {
  if (machine == "aarch64" || machine == "arm64") return "arm64";
  return std::string(machine);
}

SystemInfo UnameSystemInfo::current() const {
  SystemInfo info;
  info.appVersion = SELVAR_VERSION;
  info.build = SELVAR_VERSION;
  struct utsname names {};
  if (::uname(&names) == 0) {
    info.osVersion = releaseVersion(names.release);
    if (names.machine[0]) info.architecture = architectureName(names.machine);
  }
  return info;
}

} // namespace selvar
