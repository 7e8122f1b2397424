#pragma once
// An in-memory settings store for tests.

#include "platform/SettingsStore.h"

#include <map>
#include <mutex>

namespace selvar {

class MemorySettingsStore : public SettingsStore {
public:
  std::optional<SettingValue> value(std::string_view key) const override;
  void setValue(std::string_view key, const SettingValue &value) override;
  void remove(std::string_view key) override;
  std::size_t writeCount() const;

private:
  mutable std::mutex mutex_;
  std::map<std::string, SettingValue, std::less<>> values_;
  std::size_t writes_ = 0;
};

} // namespace selvar
