#pragma once
// The characters keys type in the current keyboard layout, through the text input sources and
// UCKeyTranslate. Main thread only, as the input-source calls require.

#include "platform/KeyboardLayout.h"

namespace selvar {

class KeyboardLayoutAdapter : public KeyboardLayout {
public:
  std::optional<std::string> characterForKeyCode(int macKeyCode) const override;
};

} // namespace selvar
