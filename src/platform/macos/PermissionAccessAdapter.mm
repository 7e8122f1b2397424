#include "platform/macos/PermissionAccessAdapter.h"

#include "platform/macos/ObjCBridge.h"

#import <AVFoundation/AVFoundation.h>
#import <ApplicationServices/ApplicationServices.h>
#import <Security/Security.h>
#import <Speech/Speech.h>

namespace selvar {

namespace {

PermissionState fromCapture(AVAuthorizationStatus status) {
  switch (status) {
  case AVAuthorizationStatusAuthorized:
    return PermissionState::granted;
  case AVAuthorizationStatusDenied:
    return PermissionState::denied;
  case AVAuthorizationStatusNotDetermined:
    return PermissionState::notDetermined;
  case AVAuthorizationStatusRestricted:
    return PermissionState::restricted;
  }
  return PermissionState::unknown;
}

PermissionState fromSpeech(SFSpeechRecognizerAuthorizationStatus status) {
  switch (status) {
  case SFSpeechRecognizerAuthorizationStatusAuthorized:
    return PermissionState::granted;
  case SFSpeechRecognizerAuthorizationStatusDenied:
    return PermissionState::denied;
  case SFSpeechRecognizerAuthorizationStatusNotDetermined:
    return PermissionState::notDetermined;
  case SFSpeechRecognizerAuthorizationStatusRestricted:
    return PermissionState::restricted;
  }
  return PermissionState::unknown;
}

} // namespace

bool PermissionAccessAdapter::accessibilityTrusted() const {
  return AXIsProcessTrusted();
}

PermissionState PermissionAccessAdapter::microphone() const {
  return fromCapture([AVCaptureDevice authorizationStatusForMediaType:AVMediaTypeAudio]);
}

PermissionState PermissionAccessAdapter::speechRecognition() const {
  return fromSpeech([SFSpeechRecognizer authorizationStatus]);
}

void PermissionAccessAdapter::requestMicrophone(std::function<void(bool)> completion) {
  [AVCaptureDevice requestAccessForMediaType:AVMediaTypeAudio
                           completionHandler:^(BOOL granted) {
                             if (completion) completion(granted);
                           }];
}

void PermissionAccessAdapter::requestSpeechRecognition(
    std::function<void(PermissionState)> completion) {
  [SFSpeechRecognizer requestAuthorization:^(SFSpeechRecognizerAuthorizationStatus status) {
    if (completion) completion(fromSpeech(status));
  }];
}

std::optional<std::string> PermissionAccessAdapter::designatedRequirement() const {
  CFOwned<SecCodeRef> code;
  CFOwned<SecStaticCodeRef> staticCode;
  CFOwned<SecRequirementRef> requirement;
  CFOwned<CFStringRef> text;
  if (SecCodeCopySelf(kSecCSDefaultFlags, code.out()) != errSecSuccess || !code) return {};
  if (SecCodeCopyStaticCode(code.get(), kSecCSDefaultFlags, staticCode.out()) != errSecSuccess ||
      !staticCode)
    return {};
  if (SecCodeCopyDesignatedRequirement(staticCode.get(), kSecCSDefaultFlags, requirement.out()) !=
          errSecSuccess ||
      !requirement)
    return {};
  if (SecRequirementCopyString(requirement.get(), kSecCSDefaultFlags, text.out()) !=
          errSecSuccess ||
      !text)
    return {};
  return stdString((__bridge NSString *)text.get());
}

} // namespace selvar
