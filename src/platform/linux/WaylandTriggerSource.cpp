#include "platform/linux/WaylandTriggerSource.h"

namespace selvar {

namespace {

constexpr const char *kBindingHint =
    "bind keys in the compositor to \"selvar --start\" (press) and \"selvar --stop\" (release), "
    "or to \"selvar --toggle\"; \"selvar --cancel\" cancels";
constexpr const char *kInputGroupHint =
    "to use the trigger key on every keyboard, add the user to the input group "
    "(sudo usermod -aG input $USER) and log in again";

} // namespace

WaylandTriggerChoice chooseWaylandTriggerSource(const WaylandTriggerOptions &options) {
  WaylandTriggerChoice choice;
  if (options.keyboardsReadable) {
    choice.source = WaylandTriggerSource::evdev;
    return choice;
  }
  choice.source = options.portalShortcuts ? WaylandTriggerSource::portalShortcuts
                                          : WaylandTriggerSource::controlCommand;
  choice.hints.push_back(kInputGroupHint);
  if (!options.keyboardsDenied) choice.hints.back() += " (no keyboard device was found at all)";
  if (choice.source == WaylandTriggerSource::controlCommand) choice.hints.push_back(kBindingHint);
  return choice;
}

} // namespace selvar
