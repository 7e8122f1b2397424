// The cancel confirmation: a first cancel press ends the recording and holds its text back for
// ten seconds; a second press discards it, Return continues the recording after it, the
// trigger or the timer lets it through.

#include "dictation/DictationController.h"
#include "hotkeys/HotkeyHandler.h"
#include "hotkeys/KeyChoices.h"
#include "platform/Services.h"
#include "records/Log.h"

namespace selvar {

namespace {

constexpr double kRepeatFilter = 0.15;
constexpr double kConfirmationSeconds = 10;

} // namespace

std::string DictationController::cancelHint() const {
  return "\u23CE continue   " + std::string(label(CancelKeyStore::current())) + " cancel";
}

bool DictationController::confirmationOpen() const {
  return cancelArmed_ || static_cast<bool>(pendingInsert_);
}

void DictationController::escapePressed() {
  double t = now();
  if (t - lastEscapeAt_ < kRepeatFilter) return; // key repeat and duplicate events
  lastEscapeAt_ = t;
  if (!confirmationOpen()) {
    Log::write("cancel key " + std::string(rawValue(CancelKeyStore::current())) +
               ": armed to discard while " + std::string(stateName(state())));
    cancelArmed_ = true;
    // Ending now makes the commit hold the text instead of inserting it.
    if (state() == State::listening) endRecording();
    // A server recording too short to send commits inside endRecording, which closes the
    // utterance: nothing is left to hold back, and a window opened now would never close.
    if (!confirmationOpen()) return;
    armCancelWindow();
    hud_->show("Discard?", cancelHint());
    return;
  }
  Log::write("cancel key pressed twice: discarding the utterance");
  pendingInsert_ = nullptr;
  pendingText_.reset();
  resumePrefix_.clear();
  cancelTimer(cancelArmTimer_);
  cancelArmed_ = false;
  abort(generation_, "Discarded");
}

void DictationController::armCancelWindow() {
  cancelTimer(cancelArmTimer_);
  cancelArmTimer_ =
      queue().scheduleTimer(kConfirmationSeconds, guarded([this] {
                              if (pendingInsert_) {
                                flushPendingInsert();
                                return;
                              }
                              if (!cancelArmed_) return;
                              Log::write("cancel window closed: keeping the utterance");
                              cancelArmed_ = false;
                              if (state() == State::transcribing)
                                hud_->show("Transcribing", std::nullopt);
                              hotkeys_->updateSwallowedKeys();
                            }));
}

void DictationController::returnPressed() {
  Log::write("return while the confirmation is open: continuing the recording");
  if (pendingInsert_) {
    continueRecording();
    return;
  }
  cancelArmed_ = false;
  cancelTimer(cancelArmTimer_);
  // Still transcribing: its text has not come back yet and goes in when it does.
  if (state() == State::transcribing) {
    hud_->show("Transcribing", std::nullopt);
    return;
  }
  hidePill();
  beginRecording();
}

bool DictationController::disarmCancel() {
  if (!confirmationOpen()) return false;
  cancelArmed_ = false;
  if (pendingInsert_) {
    Log::write("cancel disarmed by the trigger key; inserting the held text");
    flushPendingInsert();
    return true;
  }
  cancelTimer(cancelArmTimer_);
  Log::write("cancel disarmed by the trigger key; keeping the recording");
  // The first cancel press already ended the capture; the pill says what is really going on.
  hud_->show(state() == State::transcribing ? "Transcribing" : "Listening", std::nullopt);
  return true;
}

void DictationController::flushPendingInsert() {
  if (!pendingInsert_) return;
  auto delivery = std::exchange(pendingInsert_, nullptr);
  pendingText_.reset();
  cancelArmed_ = false;
  cancelTimer(cancelArmTimer_);
  hidePill();
  Log::write("cancel window closed: keeping the utterance");
  delivery();
  hotkeys_->updateSwallowedKeys();
}

void DictationController::continueRecording() {
  if (!pendingText_ || !pendingInsert_) return;
  pendingInsert_ = nullptr;
  cancelArmed_ = false;
  cancelTimer(cancelArmTimer_);
  resumePrefix_ = *std::exchange(pendingText_, std::nullopt);
  hidePill();
  beginRecording();
}

void DictationController::supersedeTranscription() {
  Log::write("trigger pressed while transcribing; committing the pending utterance");
  commit(bestHypothesis_, generation_, "superseded", std::nullopt);
}

} // namespace selvar
