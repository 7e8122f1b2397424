#pragma once
// The diagnostics timeline: JSON Lines in "diagnostics.jsonl" next to the text log. Point
// events plus one summary record per utterance, with the numbers needed to tell lost or
// truncated dictation apart from silence. Records are built on the caller's thread; all file
// work runs on a private queue, and no error ever reaches the caller.

#include "platform/MainQueue.h"

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace selvar::Diagnostics {

// Writes {"t", "kind": "event", "name"} plus the fields; the three envelope keys win over
// fields of the same name.
void event(std::string_view name, nlohmann::json fields = nlohmann::json::object());
// Deletes diagnostics files last modified more than `days` calendar days ago; below 1 keeps
// everything.
void purge(int days);
// Deletes every diagnostics file (after the records already queued).
void clear();
// Waits until every earlier record and chore is done (tests).
void flush();

// Accumulates one utterance while it runs and writes its summary when it finishes. No lock:
// the owner confines it to one thread or accepts unsynchronised diagnostic counters.
class Utterance {
public:
  Utterance();

  // Once per audio buffer, on the capture path: counters only, no allocation.
  void audio(float rms, std::int64_t frames) noexcept;
  // Every partial transcript; whitespace-only ones are ignored.
  void partial(std::string_view text);
  // Writes the summary record. `seconds` is the duration the controller reports.
  void finish(std::string_view reason, std::string_view finalText, double seconds,
              std::optional<std::string_view> error);

  const std::string &id() const { return id_; }
  double sampleRate() const { return sampleRate_; }
  void setSampleRate(double hz) { sampleRate_ = hz; }

  // The timeline keeps this many partials so a flood of results cannot make a huge line.
  static constexpr std::size_t kTimelineCap = 120;

private:
  struct PartialMark {
    double at;
    std::size_t chars;
  };
  nlohmann::json summary(std::string_view reason, std::string_view finalText, double seconds,
                         std::optional<std::string_view> error) const;

  std::string id_;
  double sampleRate_ = 48000;
  WallTime started_;
  double startedMonotonic_;
  std::int64_t buffers_ = 0;
  std::int64_t frames_ = 0;
  double sumSquares_ = 0;
  float peakRMS_ = 0;
  std::int64_t silentBuffers_ = 0;
  std::vector<PartialMark> partials_;
  std::string longest_;
  std::size_t longestChars_ = 0;
};

} // namespace selvar::Diagnostics
