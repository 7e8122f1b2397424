#pragma once
// The privacy grants as macOS reports them: accessibility trust, the microphone's capture
// authorisation, speech recognition's authorisation, and the code signature they hang on.

#include "platform/PermissionAccess.h"

namespace selvar {

class PermissionAccessAdapter : public PermissionAccess {
public:
  bool accessibilityTrusted() const override;
  PermissionState microphone() const override;
  PermissionState speechRecognition() const override;
  void requestMicrophone(std::function<void(bool granted)> completion) override;
  void requestSpeechRecognition(std::function<void(PermissionState)> completion) override;
  std::optional<std::string> designatedRequirement() const override;
};

} // namespace selvar
