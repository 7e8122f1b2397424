#pragma once
// File chores the three records share: appending a line, shifting numbered generations and
// removing files by modification time. Every error is swallowed: record-keeping never fails
// visibly and never throws.

#include "platform/MainQueue.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace selvar::RecordFiles {

// Opens `file` (flags as for open(2)) only when it is a regular file, never blocking on a FIFO
// or device standing in its place; -1 otherwise. The descriptor is close-on-exec.
int openRegular(const std::filesystem::path &file, int flags, unsigned mode);

// Appends the bytes in one write, creating the file (not its folder) when missing.
void append(const std::filesystem::path &file, std::string_view bytes);

// The whole file, or nothing when it cannot be read.
std::optional<std::string> read(const std::filesystem::path &file);

// At most the last `budget` bytes of the file, or nothing when it cannot be read.
std::optional<std::string> readLast(const std::filesystem::path &file, std::size_t budget);

// Removes generation `oldest`, moves every existing generation i (oldest - 1 down to 1) to
// i + 1, then the current file (generation 0) to 1. `path(n)` names generation n.
void shiftGenerations(const std::function<std::filesystem::path(int)> &path, int oldest);

std::optional<WallTime> modificationTime(const std::filesystem::path &file);

// Removes every regular file directly in `folder` that `shouldRemove` picks; folders and
// symbolic links are never removed. A listing error ends the walk.
void removeEntries(const std::filesystem::path &folder,
                   const std::function<bool(const std::filesystem::path &)> &shouldRemove);

// True when the entry was last modified before `cutoff`; an unreadable time counts as now, so
// the entry is kept.
bool modifiedBefore(const std::filesystem::path &entry, WallTime cutoff);

} // namespace selvar::RecordFiles
