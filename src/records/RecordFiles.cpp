#include "records/RecordFiles.h"

#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <unistd.h>

namespace selvar::RecordFiles {

namespace fs = std::filesystem;

void append(const fs::path &file, std::string_view bytes) {
  // O_APPEND makes the single write land whole at the end, even next to other writers of the
  // same file (standard error redirected into the log).
  int fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  if (fd < 0) return;
  [[maybe_unused]] auto written = ::write(fd, bytes.data(), bytes.size());
  ::close(fd);
}

std::optional<std::string> read(const fs::path &file) {
  return readLast(file, std::string::npos);
}

std::optional<std::string> readLast(const fs::path &file, std::size_t budget) {
  std::ifstream in(file, std::ios::binary | std::ios::ate);
  if (!in) return std::nullopt;
  auto end = in.tellg();
  if (end < 0) return std::nullopt;
  auto size = static_cast<std::size_t>(end);
  auto start = size > budget ? size - budget : 0;
  in.seekg(static_cast<std::streamoff>(start));
  std::string data(size - start, '\0');
  in.read(data.data(), static_cast<std::streamsize>(data.size()));
  if (in.bad()) return std::nullopt;
  data.resize(static_cast<std::size_t>(in.gcount()));
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
