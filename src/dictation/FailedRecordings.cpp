#include "dictation/FailedRecordings.h"

#include "platform/FileLocations.h"
#include "records/Log.h"

#include <algorithm>

namespace selvar::FailedRecordings {

namespace fs = std::filesystem;

namespace {

bool moveFile(const fs::path &from, const fs::path &to, std::error_code &ec) {
  fs::rename(from, to, ec);
  if (!ec) return true;
  // Another file system (the temporary folder often is one): copy, then remove.
  ec.clear();
  fs::copy_file(from, to, fs::copy_options::overwrite_existing, ec);
  if (ec) return false;
  std::error_code ignored;
  fs::remove(from, ignored);
  return true;
}

void prune() {
  auto all = list();
  std::error_code ec;
  for (std::size_t i = kKept; i < all.size(); ++i)
    fs::remove(all[i], ec);
}

} // namespace

std::optional<fs::path> keep(const fs::path &wav) {
  auto target = Paths::failedRecordings() / wav.filename();
  std::error_code ec;
  if (!moveFile(wav, target, ec)) {
    Log::write("could not keep the failed recording " + wav.string() + ": " + ec.message());
    return std::nullopt;
  }
  // The newest failure must survive the pruning, whenever its audio was written.
  fs::last_write_time(target, fs::file_time_type::clock::now(), ec);
  prune();
  Log::write("kept the recording of the failed utterance: " + target.string());
  return target;
}

std::vector<fs::path> list() {
  struct Entry {
    fs::file_time_type time;
    fs::path path;
  };
  std::vector<Entry> entries;
  std::error_code ec;
  for (const auto &entry : fs::directory_iterator(Paths::failedRecordings(), ec)) {
    if (entry.path().extension() != ".wav") continue;
    std::error_code timeError;
    auto time = entry.last_write_time(timeError);
    entries.push_back({timeError ? fs::file_time_type::min() : time, entry.path()});
  }
  std::sort(entries.begin(), entries.end(), [](const Entry &a, const Entry &b) {
    return a.time != b.time ? a.time > b.time : a.path > b.path;
  });
  std::vector<fs::path> out;
  for (auto &e : entries)
    out.push_back(std::move(e.path));
  return out;
}

} // namespace selvar::FailedRecordings
