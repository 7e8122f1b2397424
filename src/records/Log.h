#pragma once
// The application's plain-text log: "selvar.log" plus five older generations in the logs
// folder. Writes are timestamped on the caller's thread and appended on a private queue.

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace selvar::Log {

// Rotates once (only here, at launch), creates the current file and, when asked, points
// standard error at it.
void install(bool redirectStandardError = true);
// One message, one line. Never blocks on the disk, never fails visibly.
void write(std::string_view message);
// Up to `bytes` bytes of the newest log text across generations (older text first). Waits
// for every earlier write; must not be called from the log's own queue.
std::string tail(std::size_t bytes);
// Waits until every earlier write is on disk (tests and orderly shutdown).
void flush();
// The logs folder, created when missing (the diagnostics timeline lives there too).
std::filesystem::path directory();
// The same folder without touching the disk, for callers that must not wait on it.
std::filesystem::path directoryPath();
std::vector<std::filesystem::path> rotatedFilesNewestFirst();

} // namespace selvar::Log
