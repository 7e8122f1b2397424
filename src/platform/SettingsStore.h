#pragma once
// The user's key-value settings database (NSUserDefaults on macOS, a JSON file on Linux).
// Typed reads return nothing for a missing key or a value of another type.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace selvar {

using SettingBytes = std::vector<std::uint8_t>;
using SettingValue = std::variant<bool, std::int64_t, double, std::string, SettingBytes>;

class SettingsStore {
public:
  virtual ~SettingsStore() = default;
  virtual std::optional<SettingValue> value(std::string_view key) const = 0;
  virtual void setValue(std::string_view key, const SettingValue &value) = 0;
  virtual void remove(std::string_view key) = 0;

  std::optional<bool> boolValue(std::string_view key) const;
  // Integers; a double with an integral value also reads as an integer.
  std::optional<std::int64_t> intValue(std::string_view key) const;
  // Numbers of either kind.
  std::optional<double> doubleValue(std::string_view key) const;
  std::optional<std::string> stringValue(std::string_view key) const;
  std::optional<SettingBytes> bytesValue(std::string_view key) const;
};

} // namespace selvar
