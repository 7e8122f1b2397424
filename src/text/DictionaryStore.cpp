#include "text/DictionaryStore.h"

#include "platform/FileLocations.h"
#include "records/Log.h"
#include "support/Time.h"
#include "support/Unicode.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>

namespace selvar::DictionaryStore {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kBiasPromptLimit = 201; // characters; a prompt stays below this

// The file's identity for the log: a broken file is logged once, and again after each edit.
std::string fileVersion(const fs::path &file) {
  std::error_code ec;
  auto size = fs::file_size(file, ec);
  auto modified = fs::last_write_time(file, ec).time_since_epoch().count();
  return fmt::format("{}:{}", size, modified);
}

void noteReadOutcome(const fs::path &file, const DictionaryRead &read) {
  static std::mutex mutex;
  static std::string lastLogged;
  std::lock_guard lock(mutex);
  if (read.ok() || read.status == DictionaryRead::Status::missing) {
    lastLogged.clear();
    return;
  }
  std::string line = read.status == DictionaryRead::Status::unreadable
                         ? fmt::format("dictionary unreadable, no rules in use: {}: {}",
                                       file.string(), read.detail)
                         : fmt::format("dictionary does not decode, no rules in use: {}: {}",
                                       file.string(), read.detail);
  std::string key = line + "@" + fileVersion(file);
  if (key == lastLogged) return;
  lastLogged = key;
  Log::write(line);
}

// Closes the descriptor when the reader or writer is done with it, on every path.
struct FileDescriptor {
  int fd;
  ~FileDescriptor() {
    if (fd >= 0) ::close(fd);
  }
};

bool writeAll(int fd, const std::string &contents) {
  std::size_t done = 0;
  while (done < contents.size()) {
    ssize_t n = ::write(fd, contents.data() + done, contents.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<std::size_t>(n);
  }
  return true;
}

bool writeFailed(const fs::path &file, const std::string &reason) {
  Log::write(fmt::format("dictionary write failed: {}: {}", file.string(), reason));
  return false;
}

// Only a regular file is written: a FIFO or device in its place would block the writer or take
// the rules somewhere else, and is left as it is.
bool writeFile(const fs::path &file, const std::string &contents) {
  std::error_code ec;
  auto status = fs::status(file, ec);
  if (fs::exists(status) && !fs::is_regular_file(status))
    return writeFailed(file, "not a regular file");
  FileDescriptor out{::open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0644)};
  if (out.fd < 0) return writeFailed(file, std::strerror(errno));
  struct stat st {};
  if (::fstat(out.fd, &st) != 0) return writeFailed(file, std::strerror(errno));
  if (!S_ISREG(st.st_mode)) return writeFailed(file, "not a regular file");
  if (::ftruncate(out.fd, 0) != 0 || !writeAll(out.fd, contents))
    return writeFailed(file, std::strerror(errno));
  return true;
}

fs::path asideName(const fs::path &file) {
  std::string stamp = formatIso8601(wallNow());
  for (char &c : stamp)
    if (c == ':') c = '-';
  fs::path dir = file.parent_path();
  fs::path candidate = dir / fmt::format("dictionary.unreadable-{}.json", stamp);
  std::error_code ec;
  for (int n = 2; fs::exists(candidate, ec); ++n)
    candidate = dir / fmt::format("dictionary.unreadable-{}-{}.json", stamp, n);
  return candidate;
}

// Copies a file that does not decode out of the way of a save; false when that failed.
bool keepUndecodable(const fs::path &file) {
  if (read(file).status != DictionaryRead::Status::undecodable) return true;
  fs::path aside = asideName(file);
  std::error_code ec;
  fs::copy_file(file, aside, ec);
  if (ec) {
    Log::write(fmt::format("dictionary save failed: could not keep the undecodable file {}: {}",
                           file.string(), ec.message()));
    return false;
  }
  Log::write(fmt::format("dictionary kept undecodable file as {}", aside.string()));
  return true;
}

} // namespace

fs::path fileURL() {
  return Paths::dictionaryFile();
}

DictionaryRead read(const fs::path &file) {
  using Status = DictionaryRead::Status;
  // Opened without blocking, so a FIFO in the file's place is refused instead of hanging here.
  FileDescriptor in{::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)};
  if (in.fd < 0) {
    if (errno == ENOENT || errno == ENOTDIR) return {Status::missing, {}, "no such file"};
    return {Status::unreadable, {}, std::strerror(errno)};
  }
  struct stat st {};
  if (::fstat(in.fd, &st) != 0) return {Status::unreadable, {}, std::strerror(errno)};
  if (S_ISDIR(st.st_mode)) return {Status::unreadable, {}, "is a folder"};
  if (!S_ISREG(st.st_mode)) return {Status::unreadable, {}, "not a regular file"};
  std::string contents;
  char buffer[16384];
  for (;;) {
    ssize_t n = ::read(in.fd, buffer, sizeof buffer);
    if (n == 0) break;
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return {Status::unreadable, {}, std::strerror(errno)};
    contents.append(buffer, static_cast<std::size_t>(n));
  }
  return DictionaryCoding::decode(std::move(contents));
}

std::vector<DictionaryRule> rules() {
  fs::path file = fileURL();
  DictionaryRead outcome = read(file);
  noteReadOutcome(file, outcome);
  return std::move(outcome.rules);
}

bool save(const std::vector<DictionaryRule> &rules) {
  fs::path file = fileURL();
  if (!keepUndecodable(file)) return false;
  if (!writeFile(file, DictionaryCoding::encode(rules))) return false;
  Log::write(fmt::format("dictionary saved {} rules", rules.size()));
  return true;
}

std::vector<DictionaryRule> starterRules() {
  return {{"example phrase", "Example Phrase", false}};
}

bool createStarterFileIfMissing() {
  fs::path file = fileURL();
  std::error_code ec;
  if (fs::exists(file, ec)) return true;
  return writeFile(file, DictionaryCoding::encode(starterRules()));
}

std::string biasPrompt() {
  return biasPrompt(rules());
}

std::string biasPrompt(const std::vector<DictionaryRule> &rules) {
  std::string result;
  for (const auto &rule : rules) {
    if (rule.heard.empty()) continue;
    std::string candidate = result.empty() ? rule.heard : result + ", " + rule.heard;
    if (graphemeCount(candidate) >= kBiasPromptLimit) break;
    result = std::move(candidate);
  }
  return result;
}

} // namespace selvar::DictionaryStore
