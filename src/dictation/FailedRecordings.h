#pragma once
// Server-path recordings that ended without text, kept in the data root's "failed" folder so
// that what the user said can be sent again. Only the newest few are kept.

#include <filesystem>
#include <optional>
#include <vector>

namespace selvar::FailedRecordings {

inline constexpr std::size_t kKept = 20;

// Moves the WAV file into the folder and drops the oldest beyond the limit. The kept file's
// path, or nothing (with a log line) when it could not be moved.
std::optional<std::filesystem::path> keep(const std::filesystem::path &wav);
// Newest first.
std::vector<std::filesystem::path> list();

} // namespace selvar::FailedRecordings
