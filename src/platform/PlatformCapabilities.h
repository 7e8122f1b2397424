#pragma once
// What the running platform offers beyond the common services: the system's on-device speech
// recognizer and its on-device language model, the system's name in window texts and whether
// there is an Fn key to trigger with. The
// entry point sets them once at start.

#include <string>

namespace selvar {

struct PlatformCapabilities {
  bool onDeviceRecognizer = false;
  bool foundationModels = false;
  // How the windows name the operating system.
  std::string systemName = "macOS";
  // The keyboard reports an Fn (Globe) key the trigger can use.
  bool fnKey = true;
};

const PlatformCapabilities &platformCapabilities();
void setPlatformCapabilities(const PlatformCapabilities &capabilities);

} // namespace selvar
