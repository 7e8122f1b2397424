// The on-device recording path and the tap it shares with the server path: opening the input,
// handing every buffer to the recognizer, meter and counters, the chain of recognition
// segments that keeps long dictations whole, and following audio route changes.

#include "dictation/CaptureFormat.h"
#include "dictation/DictationController.h"
#include "dictation/TranscriptJoin.h"
#include "hud/SpectrumAnalyzer.h"
#include "platform/Services.h"
#include "records/Diagnostics.h"
#include "records/Log.h"
#include "support/Unicode.h"

namespace selvar {

namespace {

constexpr int kLastAttempt = 3;
constexpr double kRetryDelay = 0.4;
constexpr double kLevelPushInterval = 0.035;
constexpr double kRolloverSeconds = 20;
constexpr double kRolloverGrace = 2.0;

std::string wholeNumber(double value) {
  return std::to_string(static_cast<long long>(value));
}

void raiseTo(std::atomic<float> &peak, float value) {
  float seen = peak.load(std::memory_order_relaxed);
  while (value > seen && !peak.compare_exchange_weak(seen, value, std::memory_order_relaxed)) {
  }
}

} // namespace

void DictationController::startCapture(int gen, Recognizer recognizer, int attempt) {
  requestBox_.reset();
  auto engine = services().audio->makeEngine();
  auto format = prepareInput(*engine);
  logCaptureInput(*engine, attempt);
  if (!format) {
    if (attempt >= kLastAttempt)
      abort(gen, "Microphone unavailable");
    else
      retryCapture(gen, recognizer, attempt);
    return;
  }
  engine_ = std::move(engine);
  installTap(*engine_, *format);
  startSegment(gen, recognizer);
  if (auto error = engine_->start()) {
    Log::write("engine start failed attempt=" + std::to_string(attempt) + ": " + *error);
    Diagnostics::event("engine.start_failed", {{"attempt", attempt}, {"error", *error}});
    engine_->removeTap();
    if (attempt < kLastAttempt)
      retryCapture(gen, recognizer, attempt);
    else
      abort(gen, "Microphone unavailable");
    return;
  }
  enterListening(gen);
}

// Kept as it stands: beginRecording leaves wantsRecording false, so in practice the retry finds
// nothing to do and the next trigger press starts afresh.
void DictationController::retryCapture(int gen, Recognizer recognizer, int attempt) {
  queue().asyncAfter(kRetryDelay, guarded([this, gen, recognizer, attempt] {
                       if (generation_ != gen || state() != State::idle || !wantsRecording_) return;
                       startCapture(gen, recognizer, attempt + 1);
                     }));
}

std::optional<AudioFormat> DictationController::prepareInput(AudioEngine &engine) {
  if (auto error = engine.setVoiceProcessingEnabled(true))
    Log::write("voice processing unavailable: " + *error);
  return tapFormat(engine.inputFormat());
}

void DictationController::logCaptureInput(AudioEngine &engine, int attempt) {
  auto device = services().audio->defaultInputDeviceName().value_or("Unknown input");
  auto format = engine.inputFormat();
  bool voice = engine.voiceProcessingEnabled();
  Log::write("capture input=" + device + " rate=" + wholeNumber(format.sampleRate) +
             " ch=" + std::to_string(format.channelCount) + " voiceProcessing=" +
             (voice ? "true" : "false") + " attempt=" + std::to_string(attempt));
  Diagnostics::event("capture.input", {{"device", device},
                                       {"rate", format.sampleRate},
                                       {"channels", format.channelCount},
                                       {"voice_processing", voice},
                                       {"attempt", attempt}});
}

void DictationController::installTap(AudioEngine &engine, AudioFormat format) {
  engine.removeTap();
  captureRate_.store(format.sampleRate, std::memory_order_relaxed);
  if (utterance_) utterance_->setSampleRate(format.sampleRate);
  analyzer_ = std::make_shared<SpectrumAnalyzer>(format.sampleRate);
  // The block owns what it touches, so nothing it uses can go away under it.
  engine.installTap(format, kTapFrames,
                    [this, gen = generation_, analyzer = analyzer_,
                     recorder = recorder_](const AudioBuffer &buffer) {
                      tapBuffer(buffer, gen, *analyzer, recorder.get());
                    });
}

// Audio thread: only the request box, the recorder (under its own lock) and atomic counters.
void DictationController::tapBuffer(const AudioBuffer &buffer, int gen, SpectrumAnalyzer &analyzer,
                                    WavRecording *recorder) {
  if (recorder) recorder->append(buffer);
  requestBox_.append(buffer);
  auto bands = analyzer.bands(buffer);
  float rms = analyzer.lastRMS();
  if (!bands.empty()) {
    raiseTo(capturePeakRMS_, rms);
    if (rms >= kSpeechLevel) voicedBuffers_.fetch_add(1, std::memory_order_relaxed);
    trackSilence(rms);
  }
  queue().async([this, life = std::weak_ptr<int>(lifetime_), gen, rms, frames = buffer.frameCount,
                 levels = std::vector<float>(bands.begin(), bands.end())] {
    if (!life.expired()) levelsArrived(gen, rms, frames, levels);
  });
}

void DictationController::levelsArrived(int gen, float rms, std::size_t frames,
                                        std::vector<float> bands) {
  if (gen != generation_) return;
  if (utterance_) utterance_->audio(rms, static_cast<std::int64_t>(frames));
  double t = now();
  if (t - lastLevelPush_ <= kLevelPushInterval) return;
  hud_->updateSpectrum(bands);
  lastLevelPush_ = t;
}

void DictationController::startSegment(int gen, Recognizer recognizer) {
  if (task_) task_->cancel();
  auto request = recognizer->makeRequest({});
  request_ = request;
  requestBox_.set(request);
  segmentPartial_.clear();
  int segment = ++segmentSerial_;
  task_ = recognizer->recognitionTask(request, [this, life = std::weak_ptr<int>(lifetime_),
                                                q = &queue(), gen, segment,
                                                recognizer](const RecognitionResult &result) {
    q->async([this, life, gen, segment, recognizer, result] {
      // A cancelled segment reports its cancellation; only the live one counts.
      if (life.expired() || gen != generation_ || segment != segmentSerial_) return;
      if (!result.text.empty()) notePartial(result.text);
      if (result.isFinal || result.error) segmentEnded(result.text, result.error, gen, recognizer);
    });
  });
  scheduleRollover(gen);
}

void DictationController::notePartial(const std::string &text) {
  auto trimmed = trimWhitespace(text);
  if (trimmed.empty()) return;
  segmentPartial_ = trimmed;
  if (graphemeCount(trimmed) > graphemeCount(longestPartial_)) longestPartial_ = trimmed;
  auto soFar = join(committedText_, trimmed);
  if (graphemeCount(soFar) > graphemeCount(bestHypothesis_)) bestHypothesis_ = soFar;
  if (utterance_) utterance_->partial(soFar);
}

void DictationController::segmentEnded(const std::string &text,
                                       const std::optional<PlatformError> &error, int gen,
                                       Recognizer recognizer) {
  if (gen != generation_) return;
  auto trimmed = trimWhitespace(text);
  if (!trimmed.empty()) committedText_ = join(committedText_, trimmed);
  segmentPartial_.clear();
  auto committedChars = graphemeCount(committedText_);
  if (committedChars > graphemeCount(longestPartial_)) longestPartial_ = committedText_;
  if (committedChars > graphemeCount(bestHypothesis_)) bestHypothesis_ = committedText_;
  std::optional<DictationError> failure;
  if (error) failure = DictationError{error->code, error->description};

  if (state() != State::listening) {
    commit(committedText_, gen, failure ? "error" : "final", failure);
    return;
  }
  ++segmentRestarts_;
  Log::write("segment ended while listening reason=" +
             (failure ? failure->description : std::string("final")) + " restarts=" +
             std::to_string(segmentRestarts_) + " chars=" + std::to_string(committedChars));
  if (failure && trimmed.empty() && segmentRestarts_ >= 3)
    commit("", gen, "error", failure);
  else if (!failure && trimmed.empty() && segmentRestarts_ >= 4)
    commit(committedText_, gen, "final", std::nullopt);
  else
    startSegment(gen, recognizer);
}

void DictationController::scheduleRollover(int gen) {
  cancelTimer(rolloverTimer_);
  rolloverTimer_ = queue().scheduleTimer(
      kRolloverSeconds, guarded([this, gen] {
        if (state() != State::listening || generation_ != gen) return;
        auto chars = graphemeCount(join(committedText_, segmentPartial_));
        Log::write("segment rollover after " + wholeNumber(kRolloverSeconds) +
                   "s chars=" + std::to_string(chars));
        Diagnostics::event("segment.rollover", {{"gen", gen}, {"chars", chars}});
        int before = segmentRestarts_;
        // Ending the audio makes the recognizer close the segment; its end starts the next one.
        if (auto request = requestBox_.current()) request->endAudio();
        queue().asyncAfter(kRolloverGrace,
                           guarded([this, gen, before] { checkRolloverHonoured(gen, before); }));
      }));
}

void DictationController::checkRolloverHonoured(int gen, int restartsBefore) {
  if (state() != State::listening || generation_ != gen || segmentRestarts_ != restartsBefore)
    return;
  Log::write("rollover ignored by the recognizer; restarting the request");
  auto recognizer = services().speech->makeRecognizer(languagePreference());
  if (!recognizer) {
    Log::write("rollover restart failed: no recognizer for " + languagePreference());
    return;
  }
  // What the abandoned segment showed last stays part of the utterance.
  committedText_ = join(committedText_, segmentPartial_);
  startSegment(gen, recognizer);
}

void DictationController::observeConfigChanges(int gen) {
  removeConfigObserver();
  if (!engine_) return;
  configObserver_ =
      engine_->observeConfigurationChanges(guarded([this, gen] { handleConfigChange(gen); }));
}

void DictationController::removeConfigObserver() {
  if (configObserver_ && engine_) engine_->removeConfigurationObserver(*configObserver_);
  configObserver_.reset();
}

void DictationController::handleConfigChange(int gen) {
  if (state() != State::listening || generation_ != gen || !engine_) return;
  auto device = services().audio->defaultInputDeviceName().value_or("Unknown input");
  auto input = engine_->inputFormat();
  Log::write("audio route changed input=" + device + " rate=" + wholeNumber(input.sampleRate) +
             " ch=" + std::to_string(input.channelCount));
  Diagnostics::event("capture.route_change", {{"device", device}, {"rate", input.sampleRate}});
  // A route that leaves no usable input keeps the old tap.
  if (auto format = tapFormat(input)) installTap(*engine_, *format);
  if (!engine_->isRunning()) engine_->start();
}

void DictationController::stopEngine() {
  if (engine_) {
    engine_->removeTap();
    engine_->stop();
    engine_.reset();
  }
  analyzer_.reset();
}

} // namespace selvar
