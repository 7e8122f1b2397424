#include "platform/linux/XdgAutostartLoginItem.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

namespace selvar {

namespace fs = std::filesystem;

namespace {

std::string readFile(const fs::path &path, bool &ok) {
  std::ifstream in(path);
  ok = static_cast<bool>(in);
  std::ostringstream text;
  if (ok) text << in.rdbuf();
  return text.str();
}

// Desktops disable an autostart entry by marking it rather than deleting it.
bool markedDisabled(const std::string &entry) {
  std::istringstream lines(entry);
  for (std::string line; std::getline(lines, line);)
    if (line == "Hidden=true" || line == "X-GNOME-Autostart-enabled=false") return true;
  return false;
}

std::string entryText(const std::string &exec) {
  return "[Desktop Entry]\n"
         "Type=Application\n"
         "Name=Selvar\n"
         "Comment=Local dictation from the status bar\n"
         "Exec=" +
         exec +
         "\n"
         "Icon=selvar\n"
         "Terminal=false\n"
         "X-GNOME-Autostart-enabled=true\n";
}

} // namespace

XdgAutostartLoginItem::XdgAutostartLoginItem(fs::path autostartDir, fs::path executable)
    : dir_(std::move(autostartDir)), executable_(std::move(executable)) {}

fs::path XdgAutostartLoginItem::defaultAutostartDir() {
  auto env = [](const char *name) -> const char * {
    const char *v = std::getenv(name);
    return v && *v ? v : nullptr;
  };
  if (const char *home = env("SELVAR_HOME")) return fs::path(home) / "config" / "autostart";
  if (const char *config = env("XDG_CONFIG_HOME"); config && fs::path(config).is_absolute())
    return fs::path(config) / "autostart";
  const char *home = env("HOME");
  return fs::path(home ? home : "/tmp") / ".config" / "autostart";
}

std::string XdgAutostartLoginItem::execValue(const std::string &program) {
  const std::string reserved = " \t\n\"'\\><~|&;$*?#()`";
  std::string arg = program;
  if (program.find_first_of(reserved) != std::string::npos) {
    arg = "\"";
    for (char c : program) {
      if (c == '"' || c == '`' || c == '$' || c == '\\') arg += '\\';
      arg += c;
    }
    arg += '"';
  }
  // The entry's own string escapes and field codes come on top of the argument quoting.
  std::string value;
  for (char c : arg) {
    if (c == '\\') value += '\\';
    if (c == '%') value += '%';
    value += c;
  }
  return value;
}

bool XdgAutostartLoginItem::isEnabled() const {
  bool ok = false;
  std::string entry = readFile(entryPath(), ok);
  return ok && !markedDisabled(entry);
}

std::optional<std::string> XdgAutostartLoginItem::registerItem() {
  std::error_code ec;
  fs::create_directories(dir_, ec);
  if (ec) return "cannot create " + dir_.string() + ": " + ec.message();
  fs::path temp = entryPath();
  temp += ".tmp";
  {
    std::ofstream out(temp, std::ios::trunc);
    out << entryText(execValue(executable_.string()));
    if (!out.flush()) return "cannot write " + temp.string() + ": " + std::strerror(errno);
  }
  fs::rename(temp, entryPath(), ec);
  if (ec) {
    fs::remove(temp, ec);
    return "cannot write " + entryPath().string() + ": " + ec.message();
  }
  return std::nullopt;
}

std::optional<std::string> XdgAutostartLoginItem::unregisterItem() {
  std::error_code ec;
  fs::remove(entryPath(), ec);
  if (ec) return "cannot remove " + entryPath().string() + ": " + ec.message();
  return std::nullopt;
}

} // namespace selvar
