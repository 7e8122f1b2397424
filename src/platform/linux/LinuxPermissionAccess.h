#pragma once
// Privacy grants on a Linux desktop. The sound server asks nobody's leave, so the microphone
// counts as granted; "accessibility" (posting keys, reading the focus) is whatever the X server
// allows, so it is granted exactly when an X display is reachable; there is no on-device
// speech recognizer to grant. Nothing is code-signed.

#include "platform/PermissionAccess.h"

namespace selvar {

class LinuxPermissionAccess : public PermissionAccess {
public:
  bool accessibilityTrusted() const override;
  bool accessibilityTrustCanChange() const override { return false; }
  PermissionState microphone() const override { return PermissionState::granted; }
  PermissionState speechRecognition() const override { return PermissionState::restricted; }
  void requestMicrophone(std::function<void(bool granted)> completion) override {
    completion(true);
  }
  void requestSpeechRecognition(std::function<void(PermissionState)> completion) override {
    completion(PermissionState::restricted);
  }
  std::optional<std::string> designatedRequirement() const override { return std::nullopt; }
};

} // namespace selvar
