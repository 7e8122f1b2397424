// Ending an utterance and turning it into delivered text: endRecording, the fallback when no
// final result comes, commit with its near-silence rule, clean-up and continued text, and the
// hold-back of delivery while the cancel confirmation is open.

#include "dictation/DictationActivity.h"
#include "dictation/DictationController.h"
#include "dictation/TranscriptJoin.h"
#include "dictation/TranscriptResolver.h"
#include "hotkeys/HotkeyHandler.h"
#include "hud/SpectrumAnalyzer.h"
#include "platform/Services.h"
#include "records/Diagnostics.h"
#include "records/History.h"
#include "records/Log.h"
#include "support/Unicode.h"
#include "text/TextOptions.h"
#include "text/TextPipeline.h"

#include <algorithm>
#include <fmt/format.h>

namespace selvar {

namespace {

double fallbackDelay(std::optional<double> startedAt, double now) {
  if (!startedAt) return 8;
  return std::clamp(0.8 * (now - *startedAt), 8.0, 30.0);
}

std::string charCount(const std::string &text) {
  return std::to_string(graphemeCount(text));
}

} // namespace

void DictationController::endRecording() {
  if (state() != State::listening || !engine_) return;
  wantsRecording_ = false;
  cancelTimer(maxDurationTimer_);
  cancelTimer(rolloverTimer_);
  removeConfigObserver();
  engine_->removeTap();
  engine_->stop();
  engine_.reset();
  if (auto request = requestBox_.current()) request->endAudio();
  transcribeStartedAt_ = now();
  state_.store(State::transcribing, std::memory_order_relaxed);
  hud_->show("Transcribing", cancelArmed_ ? std::optional(cancelHint()) : std::nullopt);
  if (recorder_)
    sendRecording(generation_);
  else
    armTranscriptionFallback(generation_);
}

void DictationController::armTranscriptionFallback(int gen) {
  double delay = fallbackDelay(startedAt_, now());
  queue().asyncAfter(
      delay, guarded([this, gen, delay] {
        if (state() != State::transcribing || generation_ != gen) return;
        Log::write("transcribe: no final after " + std::to_string(static_cast<long long>(delay)) +
                   "s, committing partial (" + charCount(bestHypothesis_) + " chars)");
        commit(bestHypothesis_, gen, "timeout", std::nullopt);
      }));
}

void DictationController::teardownCapture() {
  cancelTimer(maxDurationTimer_);
  cancelTimer(rolloverTimer_);
  removeConfigObserver();
  if (task_) task_->cancel();
  task_.reset();
  stopEngine();
}

void DictationController::commit(const std::string &text, int gen, const std::string &reason,
                                 const std::optional<DictationError> &error) {
  if (gen != generation_) return;
  // Whichever way the commit ends, the keys it claimed for the recording are given back.
  struct ClaimedKeys {
    HotkeyHandler &hotkeys;
    ~ClaimedKeys() { hotkeys.updateSwallowedKeys(); }
  } claimedKeys{*hotkeys_};
  // From here on every other callback of this utterance is stale.
  generation_ = nextGeneration(generation_);
  bool wasArmed = cancelArmed_;
  teardownCapture();
  double t = now();
  double seconds = startedAt_ ? t - *startedAt_ : 0;
  double latency = transcribeStartedAt_ ? std::max(0.0, t - *transcribeStartedAt_) : 0;
  state_.store(State::idle, std::memory_order_relaxed);
  DictationActivity::inFlight = false;
  hidePill();

  auto resolved = TranscriptResolver::resolve(trimWhitespace(text), bestHypothesis_);
  std::optional<std::string_view> errorText;
  if (error) errorText = error->description;
  if (utterance_) {
    utterance_->finish(reason, resolved, seconds, errorText);
    Diagnostics::event("utterance.end", {{"reason", reason}, {"id", utterance_->id()}});
  }
  longestPartial_.clear();
  resetPerUtterance();
  auto prefix = std::exchange(resumePrefix_, std::string());

  int voiced = voicedBuffers_.load(std::memory_order_relaxed);
  if (voiced <= 1) {
    Log::write(fmt::format("utterance discarded: voiced buffers {}, peak rms {} (reason={})",
                           voiced, capturePeakRMS_.load(std::memory_order_relaxed), reason));
    if (!prefix.empty()) deliverHeld(prefix);
    return;
  }
  if (resolved.empty()) {
    Log::write("utterance ended empty reason=" + reason +
               " error=" + (error ? error->description : std::string("none")));
    if (!prefix.empty())
      deliverHeld(prefix);
    else if (reason == "error")
      flash("Dictation failed \u2014 " + shortReason(error));
    return;
  }
  auto result = joinContinued(prefix, cleanUp(resolved));
  if (result.empty()) {
    Log::write("utterance produced no text after cleanup; nothing inserted");
    return;
  }
  auto delivery = guarded([this, result, seconds, latency] { deliver(result, seconds, latency); });
  if (!wasArmed) {
    delivery();
    return;
  }
  pendingInsert_ = std::move(delivery);
  pendingText_ = result;
  cancelArmed_ = true; // the confirmation stays open over the held text
  armCancelWindow();
  Log::write("commit held " + charCount(result) + " chars: waiting out the escape confirmation");
  hud_->show("Discard?", cancelHint());
}

std::string DictationController::cleanUp(const std::string &text) {
  return TextPipeline::process(text, currentTextOptions());
}

void DictationController::deliver(const std::string &text, double seconds, double latency) {
  History::append(text, seconds, latency);
  auto app = std::exchange(targetApp_, std::nullopt);
  auto anchor = std::exchange(focusAnchor_, std::nullopt);
  if (purpose_ == Purpose::insert) {
    insert(text, app, anchor);
    return;
  }
  purpose_ = Purpose::insert;
  Log::write("feedback dictation captured " + charCount(text) + " chars");
  neighbours_.feedback->show(text);
}

void DictationController::deliverHeld(const std::string &text) {
  Log::write("continued recording heard nothing new; inserting the " + charCount(text) +
             " held chars");
  // The held text never reached the history; it does now, so paste-last finds it.
  History::append(text, 0, 0);
  queue().async(guarded([this, text] { insert(text, targetApp_, focusAnchor_); }));
}

} // namespace selvar
