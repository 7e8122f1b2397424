// selvar-text: runs the text clean-up (or the word error rate) from the command line. The
// command itself lives in the core; this file installs the services it reads.

#include "platform/NotificationCenter.h"
#include "platform/Services.h"
#include "platform/SettingsStore.h"
#include "platform/linux/LinuxFileLocations.h"
#include "records/Log.h"
#include "text/TextCommand.h"

#include <fstream>
#include <iostream>
#include <iterator>
#include <nlohmann/json.hpp>

namespace {

using namespace selvar;

// The saved preferences, read once and never written: the command only looks at them.
class SavedPreferences : public SettingsStore {
public:
  explicit SavedPreferences(const std::filesystem::path &file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) return;
    auto json = nlohmann::json::parse(in, nullptr, false);
    if (json.is_object()) values_ = std::move(json);
  }
  std::optional<SettingValue> value(std::string_view key) const override {
    auto it = values_.find(key);
    if (it == values_.end()) return std::nullopt;
    if (it->is_boolean()) return it->get<bool>();
    if (it->is_number_integer()) return it->get<std::int64_t>();
    if (it->is_number()) return it->get<double>();
    if (it->is_string()) return it->get<std::string>();
    return std::nullopt;
  }
  void setValue(std::string_view, const SettingValue &) override {}
  void remove(std::string_view) override {}

private:
  nlohmann::json values_ = nlohmann::json::object();
};

} // namespace

int main(int argc, char **argv) {
  static LinuxFileLocations files;
  static NotificationCenter notifications;
  static SavedPreferences settings(files.configDir() / "settings.json");
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
