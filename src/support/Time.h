#pragma once
// Timestamps as the records write them.

#include "platform/MainQueue.h"

#include <optional>
#include <string>
#include <string_view>

namespace selvar {

// The wall clock of the installed services (the system clock before they are installed).
WallTime wallNow();
// Seconds on the installed monotonic clock.
double monotonicNow();

// 2025-03-01T14:07:09Z, or 2025-03-01T14:07:09.123Z with fractional milliseconds; always UTC.
std::string formatIso8601(WallTime t, bool fractionalSeconds = false);
// Parses the forms above (with or without fraction, "Z" or a ±hh:mm offset).
std::optional<WallTime> parseIso8601(std::string_view text);
// yyyy-MM-dd in the local time zone.
std::string localDayString(WallTime t);
// The same wall-clock time `days` calendar days earlier in the local time zone.
WallTime daysBefore(WallTime t, int days);

} // namespace selvar
