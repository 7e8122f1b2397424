#include "platform/linux/LinuxAppHost.h"

#include <cstdio>
#include <fstream>
#include <sstream>
#include <sys/utsname.h>
#include <unistd.h>

namespace selvar {

namespace {

std::string unquote(std::string value) {
  if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
      value.back() == value.front())
    return value.substr(1, value.size() - 2);
  return value;
}

std::string readOsRelease() {
  for (const char *path : {"/etc/os-release", "/usr/lib/os-release"}) {
    std::ifstream in(path);
    if (!in) continue;
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
  }
  return {};
}

} // namespace

LinuxAppHost::LinuxAppHost(std::function<void()> quitMainLoop)
    : quit_(std::move(quitMainLoop)), stdoutIsTerminal_(::isatty(STDOUT_FILENO) == 1) {}

void LinuxAppHost::installMainMenu(const std::vector<Menu> &menus, MenuHandler handler) {
  mainMenus_ = menus;
  mainHandler_ = std::move(handler);
}

void LinuxAppHost::installStatusItem(const std::string &toolTip,
                                     std::function<std::vector<MenuItem>()> buildMenu,
                                     MenuHandler handler) {
  toolTip_ = toolTip;
  buildMenu_ = std::move(buildMenu);
  statusHandler_ = std::move(handler);
}

void LinuxAppHost::setStatusToolTip(const std::string &toolTip) {
  toolTip_ = toolTip;
}

void LinuxAppHost::showAboutPanel() {
  printToTerminal("Selvar " + appVersion() + ": private dictation on this machine");
}

void LinuxAppHost::terminate() {
  if (terminationRequested_) return;
  terminationRequested_ = true;
  if (quit_) quit_();
}

void LinuxAppHost::printToTerminal(const std::string &line) {
  if (!stdoutIsTerminal_) return;
  std::fputs(line.c_str(), stdout);
  std::fputc('\n', stdout);
  std::fflush(stdout);
}

std::string LinuxAppHost::appVersion() const {
  return SELVAR_VERSION;
}

std::string LinuxAppHost::osVersion() const {
  utsname names{};
  std::string kernel = ::uname(&names) == 0 ? std::string(names.sysname) + " " + names.release
                                            : std::string("Linux");
  return describeSystem(readOsRelease(), kernel);
}

std::string LinuxAppHost::describeSystem(const std::string &osReleaseText,
                                         const std::string &kernel) {
  std::string pretty, name, version;
  std::istringstream lines(osReleaseText);
  for (std::string line; std::getline(lines, line);) {
    auto eq = line.find('=');
    if (eq == std::string::npos) continue;
    std::string key = line.substr(0, eq), value = unquote(line.substr(eq + 1));
    if (key == "PRETTY_NAME") pretty = value;
    if (key == "NAME") name = value;
    if (key == "VERSION_ID") version = value;
  }
  if (pretty.empty()) pretty = version.empty() ? name : name + " " + version;
  return pretty.empty() ? kernel : pretty + "; " + kernel;
}

} // namespace selvar
