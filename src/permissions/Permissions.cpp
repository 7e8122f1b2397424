#include "permissions/Permissions.h"

#include "platform/Services.h"
#include "platform/SettingsStore.h"
#include "platform/Workspace.h"
#include "records/Log.h"

namespace selvar {

const char *stateText(PermissionState state) {
  switch (state) {
  case PermissionState::granted:
    return "Granted";
  case PermissionState::denied:
    return "Denied";
  case PermissionState::notDetermined:
    return "Not asked yet";
  case PermissionState::restricted:
    return "Restricted";
  case PermissionState::unknown:
    break;
  }
  return "Unknown";
}

std::string url(PermissionPane pane) {
  std::string base = "x-apple.systempreferences:com.apple.preference.security?";
  switch (pane) {
  case PermissionPane::microphone:
    return base + "Privacy_Microphone";
  case PermissionPane::speechRecognition:
    return base + "Privacy_SpeechRecognition";
  case PermissionPane::accessibility:
    return base + "Privacy_Accessibility";
  }
  return base;
}

namespace Permissions {

namespace {
ToolRunner &toolRunner() {
  static ToolRunner runner;
  return runner;
}

void resetService(const ToolRunner &run, const std::string &service, const std::string &bundle) {
  ToolExit exit = run(kTccutil, {"reset", service, bundle});
  if (!exit.status)
    Log::write("tccutil reset " + service + " could not run: " + exit.launchError);
  else if (*exit.status != 0)
    Log::write("tccutil reset " + service + " failed status=" + std::to_string(*exit.status));
}
} // namespace

const std::vector<std::string> &grantServices() {
  // Input monitoring covers the keyboard tap on systems that ask for it separately.
  static const std::vector<std::string> names{"Microphone", "SpeechRecognition", "Accessibility",
                                              "ListenEvent"};
  return names;
}

void installToolRunner(ToolRunner runner) {
  toolRunner() = std::move(runner);
}

std::optional<std::string> designatedRequirement() {
  PermissionAccess *access = services().permissions;
  return access ? access->designatedRequirement() : std::nullopt;
}

bool healStaleGrants() {
  auto current = designatedRequirement();
  if (!current) return false;
  auto previous = services().settings->stringValue(kSigningRequirementKey);
  services().settings->setValue(kSigningRequirementKey, *current);
  if (!previous || *previous == *current) return false;
  Log::write("signing identity changed; clearing privacy grants made against the old one");
  resetAll();
  return true;
}

void resetAll() {
  const ToolRunner &run = toolRunner();
  if (!run) return;
  std::string bundle = services().workspace ? services().workspace->ownBundleIdentifier() : "";
  for (const auto &service : grantServices())
    resetService(run, service, bundle);
}

void requestMicrophone(std::function<void(bool)> completion) {
  if (PermissionAccess *access = services().permissions)
    access->requestMicrophone(std::move(completion));
  else if (completion)
    completion(false);
}

void requestSpeech(std::function<void(PermissionState)> completion) {
  if (PermissionAccess *access = services().permissions)
    access->requestSpeechRecognition(std::move(completion));
  else if (completion)
    completion(PermissionState::unknown);
}

std::vector<PermissionRow> rows(bool includeSpeechRecognition) {
  PermissionAccess *access = services().permissions;
  auto state = [&](auto read) { return access ? read(*access) : PermissionState::unknown; };
  std::vector<PermissionRow> out;
  out.push_back(
      {"Microphone", state([](auto &a) { return a.microphone(); }), PermissionPane::microphone});
  if (includeSpeechRecognition)
    out.push_back({"Speech Recognition", state([](auto &a) { return a.speechRecognition(); }),
                   PermissionPane::speechRecognition});
  out.push_back({"Accessibility", state([](auto &a) {
                   return a.accessibilityTrusted() ? PermissionState::granted
                                                   : PermissionState::denied;
                 }),
                 PermissionPane::accessibility});
  return out;
}

} // namespace Permissions

} // namespace selvar
