// Hands-free listening: a light monitor engine that starts a recording when speech begins, keeps
// the last 0.7 s as pre-roll, and the silence rule that ends a hands-free recording.

#include "app/Prefs.h"
#include "dictation/DictationController.h"
#include "hud/SpectrumAnalyzer.h"
#include "platform/PermissionAccess.h"
#include "platform/Services.h"
#include "records/Diagnostics.h"
#include "records/Log.h"

#include <algorithm>

namespace selvar {

namespace {

constexpr double kPrerollSeconds = 0.7;
constexpr int kOnsetBuffers = 2;
constexpr double kMinimumRate = 8000;

} // namespace

void DictationController::startMonitor() {
  if (services().permissions->microphone() != PermissionState::granted) return;
  auto engine = services().audio->makeEngine();
  auto format = prepareInput(*engine);
  if (!format) return;
  auto analyzer = std::make_shared<SpectrumAnalyzer>(format->sampleRate);
  auto keep = static_cast<std::size_t>(format->sampleRate * kPrerollSeconds / kTapFrames);
  engine->installTap(*format, kTapFrames, [this, analyzer, keep](const AudioBuffer &buffer) {
    monitorBuffer(buffer, *analyzer, keep);
  });
  if (auto error = engine->start()) {
    Log::write("hands-free monitor failed: " + *error);
    engine->removeTap();
    return;
  }
  monitor_ = std::move(engine);
  Log::write("hands-free monitor started");
  Diagnostics::event("hands-free.armed", {});
}

void DictationController::stopMonitor() {
  if (!monitor_) return;
  monitor_->removeTap();
  monitor_->stop();
  monitor_.reset();
  {
    std::lock_guard lock(prerollMutex_);
    preroll_.clear();
  }
  speechRun_.store(0, std::memory_order_relaxed);
  Log::write("hands-free monitor stopped");
}

// Audio thread.
void DictationController::monitorBuffer(const AudioBuffer &buffer, SpectrumAnalyzer &analyzer,
                                        std::size_t keep) {
  {
    std::lock_guard lock(prerollMutex_);
    preroll_.push_back(buffer);
    if (preroll_.size() > keep)
      preroll_.erase(preroll_.begin(),
                     preroll_.begin() + static_cast<std::ptrdiff_t>(preroll_.size() - keep));
  }
  analyzer.bands(buffer);
  if (analyzer.lastRMS() <= kSpeechLevel) {
    speechRun_.store(0, std::memory_order_relaxed);
    return;
  }
  if (speechRun_.fetch_add(1, std::memory_order_relaxed) + 1 < kOnsetBuffers) return;
  speechRun_.store(0, std::memory_order_relaxed);
  queue().async([this, life = std::weak_ptr<int>(lifetime_)] {
    if (!life.expired()) speechOnset();
  });
}

void DictationController::speechOnset() {
  if (state() != State::idle || Prefs::triggerMode() != TriggerMode::automatic) return;
  {
    std::lock_guard lock(prerollMutex_);
    prerollForNextCapture_ = preroll_;
  }
  // Deliberately not re-armed when this utterance ends: the monitor stays off until the
  // trigger settings change or Selvar starts again.
  stopMonitor();
  beginRecording();
}

// Audio thread. A voiced buffer leaves the count at 1 and the silence after it counts on top,
// so the end comes one buffer sooner than the silence alone would say; kept as it is.
void DictationController::trackSilence(float rms) {
  if (!handsFreeMode_.load(std::memory_order_relaxed) || state() != State::listening) return;
  if (rms > kSpeechLevel) silenceRun_.store(0, std::memory_order_relaxed);
  int run = silenceRun_.fetch_add(1, std::memory_order_relaxed) + 1;
  double rate = std::max(captureRate_.load(std::memory_order_relaxed), kMinimumRate);
  if (static_cast<double>(kTapFrames) / rate * run < kSilenceEndSeconds) return;
  silenceRun_.store(0, std::memory_order_relaxed);
  queue().async([this, life = std::weak_ptr<int>(lifetime_)] {
    if (life.expired() || state() != State::listening) return;
    if (Prefs::triggerMode() != TriggerMode::automatic) return;
    Log::write("hands-free: silence, ending the utterance");
    endRecording();
  });
}

// Only the server path flushes the pre-roll; the on-device path leaves it for the next
// server-path capture whose format still matches.
void DictationController::flushPreroll(AudioFormat format) {
  if (prerollForNextCapture_.empty()) return;
  std::size_t written = 0;
  for (const auto &buffer : prerollForNextCapture_) {
    if (AudioFormat{buffer.sampleRate, buffer.channelCount} != format) continue;
    if (recorder_) recorder_->append(buffer);
    requestBox_.append(buffer);
    ++written;
  }
  Log::write("hands-free pre-roll " + std::to_string(written) + " buffers");
  prerollForNextCapture_.clear();
}

} // namespace selvar
