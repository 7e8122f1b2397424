#pragma once
// The shortcuts Selvar asks the desktop portal for, and what each one's activation stands for.
// An activation is handed to the key handling as the key event of the user's chosen key, so
// the portal's shortcuts act exactly as that key would under the chosen trigger mode.

#include "platform/KeyboardTap.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace selvar {

struct PortalShortcut {
  std::string id;
  std::string description;
  // In the shortcut notation of the portal ("CTRL+period"); none where the chosen key has no
  // such form or would take a key every application needs.
  std::optional<std::string> preferredTrigger;
};

namespace PortalShortcutKeys {

inline constexpr std::string_view kTrigger = "trigger";
inline constexpr std::string_view kCancel = "cancel";
inline constexpr std::string_view kPasteLast = "paste-last";

// The three shortcuts, with the triggers the current key choices suggest.
std::vector<PortalShortcut> shortcuts();
// The key event the shortcut's activation (or its end) stands for; nothing for an unknown id,
// the end of a key-down shortcut, or a paste-last chord the user disabled.
std::optional<KeyEvent> eventFor(std::string_view id, bool activated);

} // namespace PortalShortcutKeys

} // namespace selvar
