#include "platform/macos/EventTapAdapter.h"

#import <ApplicationServices/ApplicationServices.h>

namespace selvar {

namespace {

KeyEvent::Type typeOf(CGEventType type) {
  switch (type) {
  case kCGEventKeyDown:
    return KeyEvent::Type::keyDown;
  case kCGEventFlagsChanged:
    return KeyEvent::Type::flagsChanged;
  case kCGEventTapDisabledByTimeout:
    return KeyEvent::Type::tapDisabledByTimeout;
  case kCGEventTapDisabledByUserInput:
    return KeyEvent::Type::tapDisabledByUserInput;
  default:
    return KeyEvent::Type::other;
  }
}

CGEventRef tapCallback(CGEventTapProxy, CGEventType type, CGEventRef event, void *userInfo) {
  KeyEvent key;
  key.type = typeOf(type);
  if (key.type == KeyEvent::Type::keyDown || key.type == KeyEvent::Type::flagsChanged) {
    key.keyCode = static_cast<int>(CGEventGetIntegerValueField(event, kCGKeyboardEventKeycode));
    key.flags = CGEventGetFlags(event);
  }
  const bool swallow = static_cast<const EventTapAdapter *>(userInfo)->handle(key);
  return swallow ? nullptr : event;
}

} // namespace

EventTapAdapter::~EventTapAdapter() {
  remove();
}

bool EventTapAdapter::install(Handler handler) {
  remove();
  const CGEventMask mask = CGEventMaskBit(kCGEventKeyDown) | CGEventMaskBit(kCGEventFlagsChanged);
  tap_ = CGEventTapCreate(kCGSessionEventTap, kCGHeadInsertEventTap, kCGEventTapOptionDefault, mask,
                          tapCallback, this);
  if (!tap_) return false;
  handler_ = std::move(handler);
  source_ = CFMachPortCreateRunLoopSource(kCFAllocatorDefault, tap_, 0);
  CFRunLoopAddSource(CFRunLoopGetMain(), source_, kCFRunLoopCommonModes);
  CGEventTapEnable(tap_, true);
  return true;
}

void EventTapAdapter::remove() {
  if (source_) {
    CFRunLoopRemoveSource(CFRunLoopGetMain(), source_, kCFRunLoopCommonModes);
    CFRelease(source_);
    source_ = nullptr;
  }
  if (tap_) {
    CGEventTapEnable(tap_, false);
    CFMachPortInvalidate(tap_);
    CFRelease(tap_);
    tap_ = nullptr;
  }
  handler_ = nullptr;
}

void EventTapAdapter::reenable() {
  if (tap_) CGEventTapEnable(tap_, true);
}

bool EventTapAdapter::isKeyDown(int keyCode) const {
  return CGEventSourceKeyState(kCGEventSourceStateCombinedSessionState,
                               static_cast<CGKeyCode>(keyCode));
}

} // namespace selvar
