#include "platform/fake/MemorySettingsStore.h"

namespace selvar {

std::optional<SettingValue> MemorySettingsStore::value(std::string_view key) const {
  std::lock_guard lock(mutex_);
  auto it = values_.find(key);
  if (it == values_.end()) return std::nullopt;
  return it->second;
}

void MemorySettingsStore::setValue(std::string_view key, const SettingValue &value) {
  std::lock_guard lock(mutex_);
  values_.insert_or_assign(std::string(key), value);
  ++writes_;
}

void MemorySettingsStore::remove(std::string_view key) {
  std::lock_guard lock(mutex_);
  if (auto it = values_.find(key); it != values_.end()) values_.erase(it);
  ++writes_;
}

std::size_t MemorySettingsStore::writeCount() const {
  std::lock_guard lock(mutex_);
  return writes_;
}

} // namespace selvar
