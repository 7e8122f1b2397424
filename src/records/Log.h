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
// Up to `bytes` bytes of the newest log text across generations (older text first).
std::string tail(std::size_t bytes);
// Waits until every earlier write is on disk (tests and orderly shutdown).
void flush();
std::filesystem::path directory();
std::vector<std::filesystem::path> rotatedFilesNewestFirst();

} // namespace selvar::Log
