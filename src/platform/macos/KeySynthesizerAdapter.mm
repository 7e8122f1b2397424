#include "platform/macos/KeySynthesizerAdapter.h"

#include "platform/macos/ObjCBridge.h"

#import <ApplicationServices/ApplicationServices.h>
#include <chrono>
#include <thread>

namespace selvar {

bool KeySynthesizerAdapter::postKeystroke(int keyCode, std::uint64_t flags, double holdSeconds) {
  CFOwned<CGEventSourceRef> source(CGEventSourceCreate(kCGEventSourceStateCombinedSessionState));
  const auto key = static_cast<CGKeyCode>(keyCode);
  CFOwned<CGEventRef> down(CGEventCreateKeyboardEvent(source.get(), key, true));
  CFOwned<CGEventRef> up(CGEventCreateKeyboardEvent(source.get(), key, false));
  if (!down || !up) return false;
  CGEventSetFlags(down.get(), static_cast<CGEventFlags>(flags));
  CGEventSetFlags(up.get(), static_cast<CGEventFlags>(flags));
  CGEventPost(kCGHIDEventTap, down.get());
  std::this_thread::sleep_for(std::chrono::duration<double>(holdSeconds));
  CGEventPost(kCGHIDEventTap, up.get());
  return true;
}

} // namespace selvar
