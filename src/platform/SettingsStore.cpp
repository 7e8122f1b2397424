#include "platform/SettingsStore.h"

#include <cmath>

namespace selvar {

namespace {
template <typename T> std::optional<T> as(const std::optional<SettingValue> &v) {
  if (v && std::holds_alternative<T>(*v)) return std::get<T>(*v);
  return std::nullopt;
}
} // namespace

std::optional<bool> SettingsStore::boolValue(std::string_view key) const {
  return as<bool>(value(key));
}

std::optional<std::int64_t> SettingsStore::intValue(std::string_view key) const {
  auto v = value(key);
  if (auto i = as<std::int64_t>(v)) return i;
  if (auto d = as<double>(v);
      d && std::isfinite(*d) && std::trunc(*d) == *d && std::fabs(*d) < 9.0e18)
    return static_cast<std::int64_t>(*d);
  return std::nullopt;
}

std::optional<double> SettingsStore::doubleValue(std::string_view key) const {
  auto v = value(key);
  if (auto d = as<double>(v)) return d;
  if (auto i = as<std::int64_t>(v)) return static_cast<double>(*i);
  return std::nullopt;
}

std::optional<std::string> SettingsStore::stringValue(std::string_view key) const {
  return as<std::string>(value(key));
}

std::optional<SettingBytes> SettingsStore::bytesValue(std::string_view key) const {
  return as<SettingBytes>(value(key));
}

} // namespace selvar
