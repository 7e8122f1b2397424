#include "records/Log.h"

#include "platform/FileLocations.h"
#include "platform/Services.h"
#include "support/SerialQueue.h"
#include "support/Time.h"

#include <fcntl.h>
#include <fstream>
#include <sstream>
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

void rotate(const fs::path &dir) {
  std::error_code ec;
  auto size = fs::file_size(generation(dir, 0), ec);
  if (ec || size <= kRotateAbove) return;
  fs::remove(generation(dir, kGenerations), ec);
  for (int i = kGenerations - 1; i >= 1; --i)
    if (fs::exists(generation(dir, i), ec)) fs::rename(generation(dir, i), generation(dir, i + 1), ec);
  fs::rename(generation(dir, 0), generation(dir, 1), ec);
}

void append(const fs::path &dir, const std::string &line) {
  std::error_code ec;
  fs::create_directories(dir, ec);
  int fd = ::open(generation(dir, 0).c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  if (fd < 0) return;
  [[maybe_unused]] auto written = ::write(fd, line.data(), line.size());
  ::close(fd);
}

std::string readLastBytes(const fs::path &file, std::size_t budget, bool &ok) {
  std::ifstream in(file, std::ios::binary);
  ok = static_cast<bool>(in);
  if (!ok) return {};
  std::ostringstream all;
  all << in.rdbuf();
  std::string data = std::move(all).str();
  if (data.size() > budget) data.erase(0, data.size() - budget);
  return data;
}

} // namespace

fs::path directory() { return Paths::logs(); }

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
  queue().sync([&] {
    rotate(dir);
    int fd = ::open(generation(dir, 0).c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
    if (fd < 0) return;
    if (redirectStandardError) ::dup2(fd, STDERR_FILENO);
    if (fd != STDERR_FILENO) ::close(fd);
  });
}

void write(std::string_view message) {
  // The path is computed without touching the disk; the queue creates the folder.
  auto dir = services().files->dataRoot() / "logs";
  std::string line = formatIso8601(wallNow());
  line.reserve(line.size() + message.size() + 2);
  line += ' ';
  line += message;
  line += '\n';
  queue().async([dir = std::move(dir), line = std::move(line)] { append(dir, line); });
}

std::string tail(std::size_t bytes) {
  std::string text;
  std::size_t remaining = bytes;
  queue().sync([&] {
    // Listed on the queue, after earlier writes: the first of them may create the file.
    auto files = rotatedFilesNewestFirst();
    std::vector<std::string> parts;
    for (const auto &file : files) {
      if (remaining == 0) continue;
      bool ok = false;
      std::string kept = readLastBytes(file, remaining, ok);
      if (!ok) continue;
      remaining -= kept.size();
      parts.insert(parts.begin(), std::move(kept));
    }
    for (auto &p : parts) text += p;
  });
  // Only a whole-log read drops the oldest (possibly partial) first line; a budget that cut
  // into a file returns the cut text as it is.
  if (remaining > 0) {
    if (auto nl = text.find('\n'); nl != std::string::npos) text.erase(0, nl + 1);
  }
  return text;
}

void flush() {
  queue().sync([] {});
}

} // namespace selvar::Log
