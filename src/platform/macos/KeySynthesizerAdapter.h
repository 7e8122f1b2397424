#pragma once
// Synthetic keystrokes through Quartz events posted at the HID event tap.

#include "platform/KeySynthesizer.h"

namespace selvar {

class KeySynthesizerAdapter : public KeySynthesizer {
public:
  bool postKeystroke(int keyCode, std::uint64_t flags, double holdSeconds) override;
};

} // namespace selvar
