#include "records/History.h"

#include "platform/FileLocations.h"
#include "records/RecordFiles.h"
#include "support/JsonWriter.h"
#include "support/Time.h"
#include "support/Unicode.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

namespace selvar::History {

namespace fs = std::filesystem;
using json = nlohmann::json;

namespace {

// Kept constant whatever engine produced the text, so old and new files read alike.
constexpr const char *kEngine = "apple-on-device";

// Half away from zero. A duration JSON cannot express is written as 0 rather than losing the
// dictation with it.
double roundedMillis(double x) {
  return std::isfinite(x) ? std::round(x * 1000) / 1000 : 0;
}

bool isHistoryFile(const fs::path &path) {
  return path.extension() == ".jsonl";
}

// Most recently modified first; an unreadable time sorts last. Equal times fall back to the
// name, later day first, so the order never depends on the folder listing.
std::vector<fs::path> filesNewestFirst() {
  struct Entry {
    fs::path path;
    WallTime modified;
  };
  std::vector<Entry> entries;
  std::error_code ec;
  fs::directory_iterator it(directory(), ec), end;
  for (; !ec && it != end; it.increment(ec))
    if (isHistoryFile(it->path()))
      entries.push_back(
          {it->path(), RecordFiles::modificationTime(it->path()).value_or(kDistantPast)});
  std::sort(entries.begin(), entries.end(), [](const Entry &a, const Entry &b) {
    return a.modified != b.modified ? a.modified > b.modified
                                    : a.path.filename() > b.path.filename();
  });
  std::vector<fs::path> out;
  for (auto &e : entries)
    out.push_back(std::move(e.path));
  return out;
}

// Non-empty lines of the file. A damaged byte costs only its own line: the text is repaired
// rather than the whole file skipped.
std::optional<std::vector<std::string>> readLines(const fs::path &file) {
  auto bytes = RecordFiles::read(file);
  if (!bytes) return std::nullopt;
  std::string text = repairUtf8(*bytes);
  std::vector<std::string> lines;
  std::size_t start = 0;
  while (start < text.size()) {
    auto end = std::min(text.find('\n', start), text.size());
    if (end > start) lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

double numberOrZero(const json &record, const char *key) {
  auto it = record.find(key);
  return it != record.end() && it->is_number() ? it->get<double>() : 0;
}

std::optional<Utterance> parseRecord(const std::string &line) {
  json record = json::parse(line, nullptr, false);
  if (!record.is_object()) return std::nullopt;
  auto text = record.find("text");
  if (text == record.end() || !text->is_string()) return std::nullopt;
  Utterance u{text->get<std::string>(), numberOrZero(record, "audio_seconds"),
              numberOrZero(record, "latency_seconds"), kDistantPast};
  if (auto ts = record.find("ts"); ts != record.end() && ts->is_string())
    u.date = parseIso8601(ts->get_ref<const std::string &>()).value_or(kDistantPast);
  return u;
}

} // namespace

fs::path directory() {
  return Paths::history();
}

void append(std::string_view text, double seconds, double latency) {
  try {
    WallTime now = wallNow();
    json record = {{"ts", formatIso8601(now)},
                   {"engine", kEngine},
                   {"audio_seconds", roundedMillis(seconds)},
                   {"latency_seconds", roundedMillis(latency)},
                   {"text", repairUtf8(text)}};
    std::string line = JsonWriter::compactSorted(record);
    line += '\n';
    RecordFiles::append(directory() / (localDayString(now) + ".jsonl"), line);
  } catch (...) {
  }
}

std::vector<Utterance> recentUtterances(int limit) {
  std::vector<Utterance> results;
  if (limit <= 0) return results;
  try {
    for (const auto &file : filesNewestFirst()) {
      auto lines = readLines(file);
      if (!lines) continue;
      for (auto line = lines->rbegin(); line != lines->rend(); ++line) {
        if (results.size() >= static_cast<std::size_t>(limit)) return results;
        if (auto u = parseRecord(*line)) results.push_back(std::move(*u));
      }
    }
  } catch (...) {
  }
  return results;
}

std::optional<std::string> mostRecentText() {
  try {
    auto files = filesNewestFirst();
    if (files.empty()) return std::nullopt;
    // Older files are not consulted, even when the newest has no usable line.
    auto lines = readLines(files.front());
    if (!lines) return std::nullopt;
    auto last = std::find_if(lines->rbegin(), lines->rend(),
                             [](const std::string &l) { return !trimWhitespace(l).empty(); });
    if (last == lines->rend()) return std::nullopt;
    json record = json::parse(*last, nullptr, false);
    if (record.is_object())
      if (auto text = record.find("text"); text != record.end() && text->is_string())
        return text->get<std::string>();
  } catch (...) {
  }
  return std::nullopt;
}

void purge(int days) {
  if (days < 1) return; // 0 or less keeps everything
  try {
    auto cutoff = daysBefore(wallNow(), days);
    RecordFiles::removeEntries(directory(), [&](const fs::path &entry) {
      return isHistoryFile(entry) && RecordFiles::modifiedBefore(entry, cutoff);
    });
  } catch (...) {
  }
}

} // namespace selvar::History
