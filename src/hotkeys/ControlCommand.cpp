#include "hotkeys/ControlCommand.h"

#include <array>
#include <utility>

namespace selvar {

namespace {

constexpr std::array<std::pair<ControlCommand, std::string_view>, 5> kWords{{
    {ControlCommand::toggle, "toggle"},
    {ControlCommand::start, "start"},
    {ControlCommand::stop, "stop"},
    {ControlCommand::cancel, "cancel"},
    {ControlCommand::pasteLast, "paste-last"},
}};

} // namespace

std::string_view rawValue(ControlCommand command) {
  for (const auto &[c, word] : kWords)
    if (c == command) return word;
  return "";
}

std::optional<ControlCommand> controlCommandNamed(std::string_view word) {
  for (const auto &[c, name] : kWords)
    if (name == word) return c;
  return std::nullopt;
}

std::optional<ControlCommand> controlCommandSwitch(std::string_view argument) {
  if (!argument.starts_with("--")) return std::nullopt;
  return controlCommandNamed(argument.substr(2));
}

ControlOutcome sendControlCommand(ControlChannel &channel, ControlCommand command) {
  const std::string word(rawValue(command));
  const ControlSendResult result = channel.send(word);
  switch (result.outcome) {
  case ControlDelivery::delivered:
    return {0, {}};
  case ControlDelivery::notUnderstood:
    return {1, "selvar: the running copy does not understand --" + word +
                   "; restart it to use this version\n"};
  case ControlDelivery::noRunningCopy:
    return {1, "selvar: Selvar is not running, so --" + word +
                   " has nothing to act on; start Selvar first\n"};
  case ControlDelivery::failed:
    break;
  }
  return {1,
          "selvar: could not reach the running copy for --" + word + ": " + result.detail + "\n"};
}

} // namespace selvar
