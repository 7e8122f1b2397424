#pragma once
// The settings store over the application's standard user defaults.

#include "platform/SettingsStore.h"

namespace selvar {

class UserDefaultsSettingsStore : public SettingsStore {
public:
  std::optional<SettingValue> value(std::string_view key) const override;
  void setValue(std::string_view key, const SettingValue &value) override;
  void remove(std::string_view key) override;
};

} // namespace selvar
