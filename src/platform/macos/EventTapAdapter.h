#pragma once
// The session keyboard event tap (CGEventTap) on the main run loop, able to swallow key-downs.

#include "platform/KeyboardTap.h"

typedef struct __CFMachPort *CFMachPortRef;
typedef struct __CFRunLoopSource *CFRunLoopSourceRef;

namespace selvar {

class EventTapAdapter : public KeyboardTap {
public:
  ~EventTapAdapter() override;

  bool install(Handler handler) override;
  void remove() override;
  bool isInstalled() const override { return tap_ != nullptr; }
  void reenable() override;
  bool isKeyDown(int keyCode) const override;
  std::string sourceName() const override { return "Quartz event tap"; }
  KeyPassage keyPassage() const override { return KeyPassage::swallowedWhenClaimed; }

  // The tap's callback hands each event here. The handler is copied so that it may remove the
  // tap while it runs.
  bool handle(const KeyEvent &event) const {
    Handler handler = handler_;
    return handler && handler(event);
  }

private:
  Handler handler_;
  CFMachPortRef tap_ = nullptr;
  CFRunLoopSourceRef source_ = nullptr;
};

} // namespace selvar
