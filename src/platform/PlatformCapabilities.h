#pragma once
// What the running platform offers beyond the common services: the system's on-device speech
// recognizer and its on-device language model, and the system's name in window texts. The
// entry point sets them once at start.

#include <string>

namespace selvar {

struct PlatformCapabilities {
  bool onDeviceRecognizer = false;
  bool foundationModels = false;
  // How the windows name the operating system.
  std::string systemName = "macOS";
};

const PlatformCapabilities &platformCapabilities();
void setPlatformCapabilities(const PlatformCapabilities &capabilities);

} // namespace selvar
