#pragma once
// The privacy grants dictation needs (microphone, speech recognition, accessibility) as the
// operating system reports them, and the code-signing identity they are tied to.

#include <functional>
#include <optional>
#include <string>

namespace selvar {

enum class PermissionState { granted, denied, notDetermined, restricted, unknown };

class PermissionAccess {
public:
  virtual ~PermissionAccess() = default;
  // Trusted to post synthetic keys and read other applications' focus.
  virtual bool accessibilityTrusted() const = 0;
  // Whether the user can give or take back that trust while Selvar runs. Where nobody can (an
  // X11 session either exists or not), nobody needs to look at it again.
  virtual bool accessibilityTrustCanChange() const { return true; }
  virtual PermissionState microphone() const = 0;
  virtual PermissionState speechRecognition() const = 0;
  // Completions may arrive on any thread.
  virtual void requestMicrophone(std::function<void(bool granted)> completion) = 0;
  virtual void requestSpeechRecognition(std::function<void(PermissionState)> completion) = 0;
  // The running program's designated code requirement as text; nothing when unsigned or the
  // platform has none.
  virtual std::optional<std::string> designatedRequirement() const = 0;
};

} // namespace selvar
