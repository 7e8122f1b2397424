#pragma once
// The dictation history: every delivered dictation as one JSON line in a file per local
// calendar day ("yyyy-MM-dd.jsonl"). No cache: every read goes to the files, which are the
// only state. Nothing here throws or logs; unreadable files and lines are skipped.

#include "platform/MainQueue.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace selvar::History {

struct Utterance {
  std::string text;
  double audioSeconds = 0;
  double latencySeconds = 0;
  WallTime date;
  friend bool operator==(const Utterance &, const Utterance &) = default;
};

// The date of a record whose timestamp cannot be read: sorts before every real one.
inline constexpr WallTime kDistantPast = WallTime::min();

// Appends one record to today's file, synchronously on the caller's thread (one write, so a
// concurrent reader sees the whole line or none of it).
void append(std::string_view text, double seconds, double latency);
// Newest first, at most `limit`, walking the day files from the most recently modified.
std::vector<Utterance> recentUtterances(int limit);
// The text of the last record in the most recently modified day file.
std::optional<std::string> mostRecentText();
// Removes day files last modified more than `days` calendar days ago; below 1 keeps all.
void purge(int days);
// The history folder, created when missing.
std::filesystem::path directory();

} // namespace selvar::History
