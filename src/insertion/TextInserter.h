#pragma once
// Delivers finished text into the application the user was working in: clipboard, focus
// restoration, a synthetic paste chord, and the user's old clipboard put back a second later.

#include "insertion/FocusAnchor.h"

#include <functional>
#include <optional>
#include <string>

namespace selvar::TextInserter {

inline constexpr double kFirstDeliveryDelay = 0.06;
inline constexpr double kHandBackDelay = 0.15;
inline constexpr int kMaxHandBacks = 3;
inline constexpr double kKeyHoldSeconds = 0.02;
inline constexpr double kRestoreDelay = 1.0;
inline constexpr int kVKeyCode = 9;
// What the pill says when paste mode could only copy.
inline constexpr const char *kCopiedOnlyMessage = "Copied \u2014 press Ctrl+V";

// Called on the main thread when paste mode could only copy: no keystroke can reach other
// applications in this session, or the paste keystroke failed. The text then stays on the
// clipboard, the user's old clipboard is not put back over it, and the user should be told.
using CopiedOnly = std::function<void()>;

// Main thread. Puts the text on the clipboard at once; in paste mode the paste follows on the
// main queue.
void insert(const std::string &text, const std::optional<RunningApp> &target,
            const std::optional<FocusAnchor> &anchor, CopiedOnly copiedOnly = {});

} // namespace selvar::TextInserter
