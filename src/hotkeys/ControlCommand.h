#pragma once
// The key presses another program can send to the running copy, for desktops where Selvar
// cannot see the keyboard itself (a compositor binding runs "selvar --start" on press and
// "selvar --stop" on release). Each acts exactly as the key would: start and stop are the
// trigger's press and release under the chosen trigger mode, toggle is a press that starts or
// finishes whatever the mode, cancel is the cancel key, paste-last the paste-last chord.

#include "platform/ControlChannel.h"

#include <optional>
#include <string>
#include <string_view>

namespace selvar {

enum class ControlCommand { toggle, start, stop, cancel, pasteLast };

std::string_view rawValue(ControlCommand command);
// The word as it travels ("toggle"); nothing for any other text.
std::optional<ControlCommand> controlCommandNamed(std::string_view word);
// The switch that asks for it ("--toggle"); nothing for any other argument.
std::optional<ControlCommand> controlCommandSwitch(std::string_view argument);

struct ControlOutcome {
  int exitStatus = 0;
  std::string message; // for the terminal; empty when there is nothing to say
};

// What the sending copy does: passes the command on and says how it went.
ControlOutcome sendControlCommand(ControlChannel &channel, ControlCommand command);

} // namespace selvar
