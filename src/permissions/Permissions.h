#pragma once
// The privacy grants dictation needs: where to fix them, and clearing grants that a change of
// code signature left stale (the system ties grants to the signature that asked for them).

#include "platform/PermissionAccess.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace selvar {

enum class PermissionPane { microphone, speechRecognition, accessibility };

// The system settings deep link of the pane.
std::string url(PermissionPane pane);

// How the settings windows name a grant's state.
const char *stateText(PermissionState state);

// One row of the settings window's permission card.
struct PermissionRow {
  std::string title;
  PermissionState state = PermissionState::unknown;
  PermissionPane pane = PermissionPane::microphone;
  bool operator==(const PermissionRow &) const = default;
};

// How one run of a helper tool ended: its exit status, or why it could not be started.
struct ToolExit {
  std::optional<int> status;
  std::string launchError;
};
// Runs an executable with arguments and waits for it.
using ToolRunner =
    std::function<ToolExit(const std::string &executable, const std::vector<std::string> &args)>;

namespace Permissions {

inline constexpr const char *kSigningRequirementKey = "signingRequirement";
inline constexpr const char *kTccutil = "/usr/bin/tccutil";

// The services passed to the reset tool, one run each.
const std::vector<std::string> &grantServices();

// Only platforms whose grants can be reset install a runner; without one, resetAll does nothing.
void installToolRunner(ToolRunner runner);

std::optional<std::string> designatedRequirement();
// Stores the current requirement and clears every grant when it changed since the last launch.
// True when the grants were cleared.
bool healStaleGrants();
void resetAll();

void requestMicrophone(std::function<void(bool granted)> completion);
void requestSpeech(std::function<void(PermissionState)> completion);

// The rows the settings window shows; speech recognition only where an on-device recognizer
// is offered.
std::vector<PermissionRow> rows(bool includeSpeechRecognition);

} // namespace Permissions

} // namespace selvar
