#pragma once
// What the running platform offers beyond the common services: the system's on-device speech
// recognizer and its on-device language model. The entry point sets them once at start.

namespace selvar {

struct PlatformCapabilities {
  bool onDeviceRecognizer = false;
  bool foundationModels = false;
};

const PlatformCapabilities &platformCapabilities();
void setPlatformCapabilities(const PlatformCapabilities &capabilities);

} // namespace selvar
