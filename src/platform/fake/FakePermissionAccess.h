#pragma once
// Privacy grants for tests: every grant is settable and every request is counted. Requests
// are answered at once with the current state.

#include "platform/PermissionAccess.h"

namespace selvar {

class FakePermissionAccess : public PermissionAccess {
public:
  bool accessibilityTrusted() const override { return accessibility; }
  bool accessibilityTrustCanChange() const override { return trustCanChange; }
  PermissionState microphone() const override { return microphoneState; }
  PermissionState speechRecognition() const override { return speechState; }
  void requestMicrophone(std::function<void(bool)> completion) override {
    ++microphoneRequests;
    if (completion) completion(microphoneState == PermissionState::granted);
  }
  void requestSpeechRecognition(std::function<void(PermissionState)> completion) override {
    ++speechRequests;
    if (completion) completion(speechState);
  }
  std::optional<std::string> designatedRequirement() const override { return requirement; }

  bool accessibility = true;
  bool trustCanChange = true;
  PermissionState microphoneState = PermissionState::granted;
  PermissionState speechState = PermissionState::granted;
  std::optional<std::string> requirement;
  int microphoneRequests = 0;
  int speechRequests = 0;
};

} // namespace selvar
