#include "records/Log.h"

#include "platform/FileLocations.h"
#include "platform/Services.h"
#include "records/RecordFiles.h"
#include "support/SerialQueue.h"
#include "support/Time.h"
#include "support/Unicode.h"

#include <fcntl.h>
#include <unistd.h>

namespace selvar::Log {

namespace fs = std::filesystem;

namespace {

constexpr int kGenerations = 5;
constexpr std::uintmax_t kRotateAbove = 1'000'000;

SerialQueue &queue() {
  static SerialQueue q;
  return q;
}

fs::path generation(const fs::path &dir, int n) {
  return n == 0 ? dir / "selvar.log" : dir / ("selvar." + std::to_string(n) + ".log");
}

// Runs on the queue, or right here when already on it, so a misplaced call cannot deadlock.
void onQueue(const std::function<void()> &work) {
  if (queue().isCurrent())
    work();
  else
    queue().sync(work);
}

// The size is checked once per launch: a long session may grow the current file past the
// limit, and rotating under a running session would split its story across files.
void rotate(const fs::path &dir) {
  std::error_code ec;
  auto size = fs::file_size(generation(dir, 0), ec);
  if (ec || size <= kRotateAbove) return;
  RecordFiles::shiftGenerations([&](int n) { return generation(dir, n); }, kGenerations);
}

void append(const fs::path &dir, const std::string &line) {
  std::error_code ec;
  fs::create_directories(dir, ec);
  RecordFiles::append(generation(dir, 0), line);
}

std::string tailOnQueue(const fs::path &dir, std::size_t bytes) {
  std::size_t remaining = bytes;
  std::vector<std::string> parts;
  for (int i = 0; i <= kGenerations; ++i) {
    std::error_code ec;
    auto file = generation(dir, i);
    if (remaining == 0 || !fs::exists(file, ec)) continue;
    auto kept = RecordFiles::readLast(file, remaining);
    if (!kept) continue;
    remaining -= kept->size();
    // A cut through a multi-byte character shows as U+FFFD rather than failing.
    parts.push_back(repairUtf8(*kept));
  }
  std::string text;
  for (auto it = parts.rbegin(); it != parts.rend(); ++it)
    text += *it;
  // Only a read of the whole log drops its oldest (possibly partial) first line; a budget
  // that cut into a file returns the cut text as it is, partial first line included.
  if (remaining > 0)
    if (auto nl = text.find('\n'); nl != std::string::npos) text.erase(0, nl + 1);
  return text;
}

} // namespace

fs::path directory() {
  return Paths::logs();
}

fs::path directoryPath() {
  return services().files->dataRoot() / "logs";
}

std::vector<fs::path> rotatedFilesNewestFirst() {
  std::vector<fs::path> out;
  auto dir = directory();
  std::error_code ec;
  for (int i = 0; i <= kGenerations; ++i)
    if (fs::exists(generation(dir, i), ec)) out.push_back(generation(dir, i));
  return out;
}

void install(bool redirectStandardError) {
  auto dir = directory();
  onQueue([&] {
    rotate(dir);
    int fd = RecordFiles::openRegular(generation(dir, 0), O_WRONLY | O_CREAT | O_APPEND, 0644);
    if (fd < 0) return;
    if (redirectStandardError) ::dup2(fd, STDERR_FILENO);
    if (fd != STDERR_FILENO) ::close(fd);
  });
}

void write(std::string_view message) {
  try {
    std::string line = formatIso8601(wallNow());
    line.reserve(line.size() + message.size() + 2);
    line += ' ';
    line += message;
    line += '\n';
    queue().async([dir = directoryPath(), line = std::move(line)] {
      try {
        append(dir, line);
      } catch (...) {
      }
    });
  } catch (...) {
  }
}

std::string tail(std::size_t bytes) {
  std::string text;
  auto dir = directory();
  onQueue([&] {
    try {
      text = tailOnQueue(dir, bytes);
    } catch (...) { // out of memory: an empty tail beats a dead process
    }
  });
  return text;
}

void flush() {
  onQueue([] {});
}

} // namespace selvar::Log
