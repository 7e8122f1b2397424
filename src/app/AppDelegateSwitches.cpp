// The command-line switches, examined in a fixed order after "ready". Several may be given
// together; each one present acts, and the process ends after the last ending switch is done.

#include "app/AppDelegate.h"
#include "app/Prefs.h"
#include "hud/SyntheticSpectrum.h"
#include "platform/MainQueue.h"
#include "platform/Services.h"
#include "platform/SettingsStore.h"
#include "records/Log.h"
#include "servers/EngineCatalog.h"

#include <cmath>

namespace selvar {

namespace {
constexpr int kSelftestCycles = 5;
constexpr double kSelftestInterval = 0.5;
constexpr double kPreviewSeconds = 8.0;
constexpr double kPreviewFrame = 1.0 / 30.0;
constexpr const char *kListening = "Listening…";

std::string yesNo(bool value) {
  return value ? "true" : "false";
}
} // namespace

void AppDelegate::runSwitches() {
  const auto &o = options_;
  if (o.feedbackTest) feedbackTest();
  if (o.feedback) subsystems_.openFeedback(std::nullopt);
  if (o.feedbackVoice) subsystems_.openFeedback(*o.feedbackVoice);
  if (o.writeIcon) writeIcon(*o.writeIcon);
  if (o.settingsMore) {
    Prefs::setBool(PrefKey::settingsExpanded, true);
    subsystems_.openSettings(true);
  }
  if (o.rewriteTest) rewriteTest(*o.rewriteTest);
  if (o.transcribeFile) transcribeFile(*o.transcribeFile);
  if (o.serverDictateTest) serverDictateTest(*o.serverDictateTest);
  if (o.dictateTest) dictateTest(*o.dictateTest);
  if (o.hudSelftest) hudSelftest();
  if (o.hudPreview) hudPreview();
  if (o.retryFailed) retryFailedSwitch();
}

void AppDelegate::feedbackTest() {
  beginEndingSwitch();
  subsystems_.sendFeedbackTest([this, alive = std::weak_ptr<bool>(alive_)](TestOutcome r) {
    if (alive.expired()) return;
    report(r.ok ? "feedback-test ok id=" + r.text : "feedback-test failed: " + r.text);
    endEndingSwitch();
  });
}

void AppDelegate::writeIcon(const std::string &folder) {
  beginEndingSwitch();
  auto error = subsystems_.writeIconSet(folder);
  report(error ? "iconset failed: " + *error : "iconset written to " + folder);
  endEndingSwitch();
}

void AppDelegate::rewriteTest(const std::string &text) {
  beginEndingSwitch();
  subsystems_.rewriteTest(text, [this, alive = std::weak_ptr<bool>(alive_)](TestOutcome r) {
    if (alive.expired()) return;
    report(r.ok ? "rewrite-test ok: " + r.text : "rewrite-test failed: " + r.text);
    endEndingSwitch();
  });
}

void AppDelegate::transcribeFile(const std::string &path) {
  beginEndingSwitch();
  subsystems_.transcribeFile(path, [this, alive = std::weak_ptr<bool>(alive_)](TestOutcome r) {
    if (alive.expired()) return;
    report(r.ok ? "transcribe-file ok: " + r.text : "transcribe-file failed: " + r.text);
    endEndingSwitch();
  });
}

void AppDelegate::serverDictateTest(double seconds) {
  Prefs::setString(PrefKey::dictationEngine, EngineId::serverTranscription);
  // The probe blocks for up to a second, so it runs off the main thread; the line and the
  // recording follow on the main queue in their usual order.
  std::weak_ptr<bool> alive = alive_;
  subsystems_.runInBackground([this, &subsystems = subsystems_, alive, seconds] {
    bool running = subsystems.transcriptionServerRunning();
    services().mainQueue->async([this, alive, seconds, running] {
      if (alive.expired()) return;
      auto stored = services().settings->stringValue(PrefKey::dictationEngine);
      report("server dictate test: engine=" + stored.value_or(EngineId::appleOnDevice) +
             " running=" + yesNo(running));
      dictateTest(seconds);
    });
  });
}

void AppDelegate::dictateTest(double seconds) {
  if (!controller_) return;
  controller_->runTestUtterance(seconds);
  // The controller logs its own lines; a terminal also gets a word on whether it started.
  if (controller_->isListening())
    host_.printToTerminal("dictate-test: recording for " +
                          std::to_string(static_cast<long long>(seconds)) + " s");
  else
    host_.printToTerminal("dictate-test: the recording did not start (see selvar.log)");
}

void AppDelegate::hudSelftest() {
  beginEndingSwitch();
  if (!hud_) hud_ = subsystems_.makeHUD();
  for (int cycle = 1; cycle <= kSelftestCycles; ++cycle)
    services().mainQueue->asyncAfter(kSelftestInterval * cycle,
                                     [this, cycle, alive = std::weak_ptr<bool>(alive_)] {
                                       if (!alive.expired()) hudSelftestCycle(cycle);
                                     });
}

void AppDelegate::hudSelftestCycle(int cycle) {
  bool shown = false, hidden = false;
  if (hud_) {
    hud_->show(kListening);
    shown = hud_->isVisible();
    hud_->hide();
    hidden = !hud_->isVisible();
  }
  report("selftest cycle=" + std::to_string(cycle) + " shown=" + yesNo(shown) +
         " hiddenAfterHide=" + yesNo(hidden));
  if (cycle == kSelftestCycles) endEndingSwitch();
}

void AppDelegate::hudPreview() {
  beginEndingSwitch();
  if (!hud_) hud_ = subsystems_.makeHUD();
  if (!hud_) return endEndingSwitch();
  hud_->show(kListening);
  hudPreviewFrame(services().clock->monotonicSeconds());
}

void AppDelegate::hudPreviewFrame(double startedAt) {
  double elapsed = services().clock->monotonicSeconds() - startedAt;
  if (elapsed >= kPreviewSeconds) {
    hud_->hide();
    endEndingSwitch();
    return;
  }
  hud_->updateSpectrum(SyntheticSpectrum::bands(elapsed));
  double next = std::min(kPreviewFrame, kPreviewSeconds - elapsed);
  services().mainQueue->asyncAfter(next, [this, startedAt, alive = std::weak_ptr<bool>(alive_)] {
    if (!alive.expired()) hudPreviewFrame(startedAt);
  });
}

void AppDelegate::retryFailedSwitch() {
  beginEndingSwitch();
  if (!controller_ || !controller_->hasFailedRecording()) {
    report("retry-failed failed: no failed recording is kept");
    return endEndingSwitch();
  }
  controller_->retryFailedRecording(
      [this, alive = std::weak_ptr<bool>(alive_)](bool delivered, const std::string &detail) {
        if (alive.expired()) return;
        report(delivered ? "retry-failed ok: " + detail : "retry-failed failed: " + detail);
        endEndingSwitch();
      });
}

} // namespace selvar
