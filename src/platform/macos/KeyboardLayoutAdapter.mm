#include "platform/macos/KeyboardLayoutAdapter.h"

#include "platform/macos/ObjCBridge.h"

#import <Carbon/Carbon.h>

namespace selvar {

std::optional<std::string> KeyboardLayoutAdapter::characterForKeyCode(int macKeyCode) const {
  CFOwned<TISInputSourceRef> source(TISCopyCurrentKeyboardLayoutInputSource());
  if (!source) return std::nullopt;
  // Owned by the input source; not released here.
  auto layoutData = static_cast<CFDataRef>(
      TISGetInputSourceProperty(source.get(), kTISPropertyUnicodeKeyLayoutData));
  if (!layoutData) return std::nullopt;
  auto layout = reinterpret_cast<const UCKeyboardLayout *>(CFDataGetBytePtr(layoutData));

  UInt32 deadKeyState = 0;
  UniChar characters[8];
  UniCharCount length = 0;
  OSStatus status = UCKeyTranslate(layout, static_cast<UInt16>(macKeyCode), kUCKeyActionDisplay, 0,
                                   LMGetKbdType(), kUCKeyTranslateNoDeadKeysMask, &deadKeyState, 8,
                                   &length, characters);
  if (status != noErr || length == 0) return std::nullopt;
  return stdString([NSString stringWithCharacters:characters length:length]);
}

} // namespace selvar
