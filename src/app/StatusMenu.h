#pragma once
// The status item's menu, rebuilt each time it opens so it shows the current paste chord and
// the latest dictations, and the item's tooltip.

#include "app/Prefs.h"
#include "platform/MenuModel.h"

#include <string>
#include <string_view>
#include <vector>

namespace selvar {

struct StatusMenuState {
  // The paste-last chord as a key equivalent; nothing when the chord is turned off.
  std::optional<KeyEquivalent> pasteLastKey;
  // Texts of the most recent dictations, newest first (at most six are shown).
  std::vector<std::string> recentTexts;
  // A failed recording is kept and can be sent again.
  bool failedRecordingKept = false;
};

namespace StatusMenu {

inline constexpr std::size_t kRecentLimit = 6;

std::vector<MenuItem> build(const StatusMenuState &state);

// One line: whitespace runs become one space, the ends are trimmed, and texts of 55 or more
// characters keep their first 53 followed by "…".
std::string menuTitle(std::string_view text);

// "Selvar — hold Right Option to dictate".
std::string toolTip(TriggerMode mode, std::string_view triggerShortLabel);

} // namespace StatusMenu

} // namespace selvar
