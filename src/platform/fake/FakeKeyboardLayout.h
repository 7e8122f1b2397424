#pragma once
// A keyboard layout for tests: the characters are whatever the test puts in the table.

#include "platform/KeyboardLayout.h"

#include <map>
#include <mutex>

namespace selvar {

class FakeKeyboardLayout : public KeyboardLayout {
public:
  std::optional<std::string> characterForKeyCode(int macKeyCode) const override {
    std::lock_guard lock(mutex_);
    auto it = characters_.find(macKeyCode);
    if (it == characters_.end()) return std::nullopt;
    return it->second;
  }
  void set(int macKeyCode, std::string character) {
    std::lock_guard lock(mutex_);
    characters_[macKeyCode] = std::move(character);
  }

private:
  mutable std::mutex mutex_;
  std::map<int, std::string> characters_;
};

} // namespace selvar
