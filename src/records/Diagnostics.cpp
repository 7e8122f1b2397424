#include "records/Diagnostics.h"

#include "records/Log.h"
#include "records/RecordFiles.h"
#include "support/JsonWriter.h"
#include "support/SerialQueue.h"
#include "support/Time.h"
#include "support/Unicode.h"
#include "support/Uuid.h"

#include <algorithm>
#include <cctype>
#include <cmath>

namespace selvar::Diagnostics {

namespace fs = std::filesystem;
using json = nlohmann::json;

namespace {

constexpr int kGenerations = 3;
constexpr std::uintmax_t kRotateAbove = 4'000'000;
constexpr float kSilentBelow = 0.004f;

SerialQueue &queue() {
  static SerialQueue q;
  return q;
}

// Fire-and-forget work on the queue; an exception there must not take the process down.
void enqueue(std::function<void()> work) {
  try {
    queue().async([work = std::move(work)] {
      try {
        work();
      } catch (...) {
      }
    });
  } catch (...) {
  }
}

fs::path generation(const fs::path &dir, int n) {
  return n == 0 ? dir / "diagnostics.jsonl" : dir / ("diagnostics." + std::to_string(n) + ".jsonl");
}

bool isDiagnosticsFile(const fs::path &path) {
  return path.filename().string().starts_with("diagnostics");
}

// Half away from zero, as std::round does.
double rounded(double x, int decimals) {
  double scale = std::pow(10.0, decimals);
  return std::round(x * scale) / scale;
}

// Readers expect valid JSON: strings are repaired to valid UTF-8, and a record holding a
// number JSON cannot express (NaN, infinity) or a broken key is refused, as the platform's
// writer refuses it.
bool prepare(json &value) {
  switch (value.type()) {
  case json::value_t::number_float:
    return std::isfinite(value.get<double>());
  case json::value_t::string: {
    auto &s = value.get_ref<std::string &>();
    if (!isValidUtf8(s)) s = repairUtf8(s);
    return true;
  }
  case json::value_t::object:
    for (auto it = value.begin(); it != value.end(); ++it)
      if (!isValidUtf8(it.key()) || !prepare(it.value())) return false;
    return true;
  case json::value_t::array:
    return std::all_of(value.begin(), value.end(), [](json &v) { return prepare(v); });
  default:
    return true;
  }
}

// Unlike the text log, the timeline checks its size before every append.
void appendRecord(const fs::path &dir, json &record) {
  if (!prepare(record)) return;
  std::string line = JsonWriter::compactSorted(record);
  line += '\n';
  std::error_code ec;
  fs::create_directories(dir, ec);
  auto size = fs::file_size(generation(dir, 0), ec);
  if (!ec && size > kRotateAbove)
    RecordFiles::shiftGenerations([&](int n) { return generation(dir, n); }, kGenerations);
  RecordFiles::append(generation(dir, 0), line);
}

void write(json record) {
  enqueue([dir = Log::directoryPath(), record = std::move(record)]() mutable {
    appendRecord(dir, record);
  });
}

std::string shortId() {
  std::string id = makeUuidString().substr(0, 8);
  for (auto &c : id)
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return id;
}

} // namespace

void event(std::string_view name, json fields) {
  try {
    json record = fields.is_object() ? std::move(fields) : json::object();
    record["t"] = formatIso8601(wallNow(), true);
    record["kind"] = "event";
    record["name"] = std::string(name);
    write(std::move(record));
  } catch (...) {
  }
}

void purge(int days) {
  if (days < 1) return; // 0 or less keeps everything
  auto cutoff = daysBefore(wallNow(), days);
  enqueue([dir = Log::directoryPath(), cutoff] {
    RecordFiles::removeEntries(dir, [&](const fs::path &entry) {
      return isDiagnosticsFile(entry) && RecordFiles::modifiedBefore(entry, cutoff);
    });
  });
}

void clear() {
  enqueue([dir = Log::directoryPath()] { RecordFiles::removeEntries(dir, isDiagnosticsFile); });
}

void flush() {
  if (!queue().isCurrent()) queue().sync([] {});
}

Utterance::Utterance() : id_(shortId()), started_(wallNow()), startedMonotonic_(monotonicNow()) {
  partials_.reserve(kTimelineCap);
}

void Utterance::audio(float rms, std::int64_t frames) noexcept {
  // Overflow would mean a broken caller; stop rather than write nonsense.
  if (__builtin_add_overflow(buffers_, 1, &buffers_)) __builtin_trap();
  if (__builtin_add_overflow(frames_, frames, &frames_)) __builtin_trap();
  sumSquares_ += static_cast<double>(rms) * static_cast<double>(rms) * static_cast<double>(frames);
  if (peakRMS_ <= rms) peakRMS_ = rms;
  if (rms < kSilentBelow && __builtin_add_overflow(silentBuffers_, 1, &silentBuffers_))
    __builtin_trap();
}

void Utterance::partial(std::string_view text) {
  try {
    std::string trimmed = trimWhitespace(text);
    if (trimmed.empty()) return;
    std::size_t chars = graphemeCount(trimmed);
    if (chars > longestChars_) { // ties keep the earlier text
      longest_ = std::move(trimmed);
      longestChars_ = chars;
    }
    if (partials_.size() < kTimelineCap)
      partials_.push_back({monotonicNow() - startedMonotonic_, chars});
  } catch (...) {
  }
}

void Utterance::finish(std::string_view reason, std::string_view finalText, double seconds,
                       std::optional<std::string_view> error) {
  try {
    write(summary(reason, finalText, seconds, error));
  } catch (...) {
  }
}

json Utterance::summary(std::string_view reason, std::string_view finalText, double seconds,
                        std::optional<std::string_view> error) const {
  std::size_t finalChars = graphemeCount(finalText);
  json timeline = json::array();
  for (const auto &mark : partials_)
    timeline.push_back({{"chars", mark.chars}, {"t", rounded(mark.at, 3)}});
  json record = {
      {"audio_s", rounded(std::max(monotonicNow() - startedMonotonic_, 0.001), 3)},
      {"buffers", buffers_},
      {"error", std::string(error.value_or(""))},
      {"final_chars", finalChars},
      {"frames", frames_},
      {"id", id_},
      {"kind", "utterance"},
      {"longest_partial_chars", longestChars_},
      {"partials", partials_.size()},
      {"reason", std::string(reason)},
      {"reported_seconds", rounded(seconds, 3)},
      {"rms_peak", rounded(static_cast<double>(peakRMS_), 4)},
      {"suspect_truncation", longestChars_ >= 1 && finalChars < longestChars_},
      {"t", formatIso8601(started_, true)},
      {"timeline", std::move(timeline)},
  };
  if (sampleRate_ > 0)
    record["audio_seconds_captured"] = rounded(static_cast<double>(frames_) / sampleRate_, 2);
  else
    record["audio_seconds_captured"] = 0;
  if (buffers_ > 0) {
    double frames = static_cast<double>(std::max<std::int64_t>(frames_, 1));
    record["rms_avg"] = rounded(std::sqrt(sumSquares_ / frames), 4);
    record["silent_buffer_pct"] = silentBuffers_ * 100 / buffers_;
  } else {
    record["rms_avg"] = 0;
    record["silent_buffer_pct"] = 0;
  }
  return record;
}

} // namespace selvar::Diagnostics
