#pragma once
// What the pill derives from its state text and the trigger preferences: the tint and symbol
// next to the state, and the hint line under it.

#include "app/Prefs.h"

#include <string>
#include <string_view>

namespace selvar {

enum class HUDStateKind { warning, listening, transcribing, other };
enum class HUDTint { orange, red, accent, secondary };

struct StatePresentation {
  HUDStateKind kind = HUDStateKind::other;
  HUDTint tint = HUDTint::secondary;
  std::string_view symbol; // a symbol name; empty for none
  friend bool operator==(const StatePresentation &, const StatePresentation &) = default;
};

// Warnings win over listening, listening over transcribing; case does not matter.
StatePresentation presentState(std::string_view state);

// "release to finish" (hold), "pause to stop" (automatic), or the trigger label followed by
// " to stop" (toggle).
std::string hintLine(TriggerMode mode, std::string_view triggerLabel);

// The symbol the hint shows for a built-in trigger, by its stored raw value ("rightOption" → ⌥,
// "rightCommand" → ⌘, "rightControl" → ⌃, "fnGlobe" → fn); unknown values read as the default
// trigger, right Option.
std::string_view triggerHintSymbol(std::string_view triggerRawValue);

} // namespace selvar
