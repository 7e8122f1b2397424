#include "platform/linux/LinuxFileLocations.h"

#include <cstdlib>
#include <pwd.h>
#include <unistd.h>

namespace selvar {

namespace fs = std::filesystem;

namespace {
std::optional<fs::path> env(const char *name) {
  const char *v = std::getenv(name);
  if (!v || !*v) return std::nullopt;
  return fs::path(v);
}

fs::path executableDir() {
  std::error_code ec;
  auto exe = fs::read_symlink("/proc/self/exe", ec);
  return ec ? fs::path() : exe.parent_path();
}
} // namespace

fs::path LinuxFileLocations::homeDir() const {
  if (auto h = env("HOME")) return *h;
  if (const passwd *pw = getpwuid(getuid()); pw && pw->pw_dir) return pw->pw_dir;
  return fs::temp_directory_path();
}

fs::path LinuxFileLocations::dataRoot() const {
  if (auto h = env("SELVAR_HOME")) return *h;
  if (auto x = env("XDG_DATA_HOME"); x && x->is_absolute()) return *x / "selvar";
  return homeDir() / ".local/share/selvar";
}

fs::path LinuxFileLocations::configDir() const {
  if (auto h = env("SELVAR_HOME")) return *h / "config";
  if (auto x = env("XDG_CONFIG_HOME"); x && x->is_absolute()) return *x / "selvar";
  return homeDir() / ".config/selvar";
}

fs::path LinuxFileLocations::tempDir() const {
  std::error_code ec;
  auto t = fs::temp_directory_path(ec);
  return ec ? fs::path("/tmp") : t;
}

std::optional<fs::path> LinuxFileLocations::resourcesDir() const {
  // Installed: <prefix>/bin/selvar with resources in <prefix>/share/selvar.
  // Build tree: the source checkout's tools/ folder.
  std::error_code ec;
  auto installed = executableDir().parent_path() / "share/selvar";
  if (fs::exists(installed / "asr-server.py", ec)) return installed;
  fs::path tools = fs::path(SELVAR_SOURCE_DIR) / "tools";
  if (fs::exists(tools / "asr-server.py", ec)) return tools;
  return std::nullopt;
}

} // namespace selvar
