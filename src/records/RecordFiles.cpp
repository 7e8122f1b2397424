#include "records/RecordFiles.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace selvar::RecordFiles {

namespace fs = std::filesystem;

int openRegular(const fs::path &file, int flags, unsigned mode) {
  // Without O_NONBLOCK a FIFO standing where a record belongs would hold the open forever.
  int fd = ::open(file.c_str(), flags | O_NONBLOCK | O_CLOEXEC, static_cast<mode_t>(mode));
  if (fd < 0) return -1;
  struct stat info {};
  if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
    ::close(fd);
    errno = EINVAL;
    return -1;
  }
  return fd;
}

void append(const fs::path &file, std::string_view bytes) {
  // O_APPEND makes the single write land whole at the end, even next to other writers of the
  // same file (standard error redirected into the log).
  int fd = openRegular(file, O_WRONLY | O_CREAT | O_APPEND, 0644);
  if (fd < 0) return;
  [[maybe_unused]] auto written = ::write(fd, bytes.data(), bytes.size());
  ::close(fd);
}

std::optional<std::string> read(const fs::path &file) {
  return readLast(file, std::string::npos);
}

std::optional<std::string> readLast(const fs::path &file, std::size_t budget) {
  int fd = openRegular(file, O_RDONLY, 0);
  if (fd < 0) return std::nullopt;
  struct stat info {};
  if (::fstat(fd, &info) != 0) {
    ::close(fd);
    return std::nullopt;
  }
  auto size = static_cast<std::size_t>(info.st_size);
  auto start = size > budget ? size - budget : 0;
  std::string data(size - start, '\0');
  std::size_t got = 0;
  while (got < data.size()) {
    auto n = ::pread(fd, data.data() + got, data.size() - got, static_cast<off_t>(start + got));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    got += static_cast<std::size_t>(n);
  }
  bool failed = got < data.size() && errno != 0 && got == 0 && !data.empty();
  ::close(fd);
  if (failed) return std::nullopt;
  data.resize(got);
  return data;
}

void shiftGenerations(const std::function<fs::path(int)> &path, int oldest) {
  std::error_code ec;
  fs::remove(path(oldest), ec);
  for (int i = oldest - 1; i >= 1; --i)
    if (fs::exists(path(i), ec)) fs::rename(path(i), path(i + 1), ec);
  fs::rename(path(0), path(1), ec);
}

std::optional<WallTime> modificationTime(const fs::path &file) {
  std::error_code ec;
  auto t = fs::last_write_time(file, ec);
  if (ec) return std::nullopt;
  return std::chrono::time_point_cast<WallTime::duration>(fs::file_time_type::clock::to_sys(t));
}

void removeEntries(const fs::path &folder,
                   const std::function<bool(const fs::path &)> &shouldRemove) {
  std::error_code ec;
  fs::directory_iterator it(folder, ec), end;
  for (; !ec && it != end; it.increment(ec)) {
    // Records are plain files: a folder or link that happens to carry a record's name was put
    // there by someone else and is left alone, whatever it holds or points to.
    std::error_code typeError, removeError;
    if (!it->is_regular_file(typeError) || it->is_symlink(typeError)) continue;
    if (shouldRemove(it->path())) fs::remove(it->path(), removeError);
  }
}

bool modifiedBefore(const fs::path &entry, WallTime cutoff) {
  auto modified = modificationTime(entry);
  return modified && *modified < cutoff;
}

} // namespace selvar::RecordFiles
