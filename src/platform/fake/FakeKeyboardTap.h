#pragma once
// A keyboard tap for tests: a test sends key events through the installed handler and reads
// whether each was swallowed.

#include "platform/KeyboardTap.h"

#include <set>

namespace selvar {

class FakeKeyboardTap : public KeyboardTap {
public:
  bool install(Handler handler) override {
    if (refuseInstall) return false;
    handler_ = std::move(handler);
    ++installs;
    return true;
  }
  void remove() override { handler_ = nullptr; }
  bool isInstalled() const override { return static_cast<bool>(handler_); }
  void reenable() override { ++reenables; }
  bool isKeyDown(int keyCode) const override { return keysDown.contains(keyCode); }
  void setSwallowedKeys(std::vector<SwallowedKey> keys) override { claimed = std::move(keys); }
  std::string sourceName() const override { return source; }
  KeyPassage keyPassage() const override { return passage; }

  // Passes the event to the handler; true when it was swallowed. Without a tap nothing sees it.
  bool send(const KeyEvent &event) { return handler_ ? handler_(event) : false; }
  bool keyDown(int keyCode, std::uint64_t flags = 0) {
    return send({KeyEvent::Type::keyDown, keyCode, flags});
  }
  bool flagsChanged(int keyCode, std::uint64_t flags) {
    return send({KeyEvent::Type::flagsChanged, keyCode, flags});
  }

  bool refuseInstall = false;
  std::string source = "fake keys";
  KeyPassage passage = KeyPassage::swallowedWhenClaimed;
  int installs = 0;
  int reenables = 0;
  std::set<int> keysDown;
  // The keys claimed in advance, as an observing tap would grab them.
  std::vector<SwallowedKey> claimed;

private:
  Handler handler_;
};

} // namespace selvar
