// The controller's life and the entry into a recording: start-up, the entry checks of
// beginRecording, abort, flash, the auto-stop timer, the test utterance, feedback recordings
// and paste-last.

#include "app/Prefs.h"
#include "dictation/DictationActivity.h"
#include "dictation/DictationController.h"
#include "hotkeys/HotkeyHandler.h"
#include "hotkeys/KeyBinding.h"
#include "hotkeys/KeyChoices.h"
#include "hud/HUDPresentation.h"
#include "insertion/TextInserter.h"
#include "platform/NotificationCenter.h"
#include "platform/PermissionAccess.h"
#include "platform/Services.h"
#include "platform/Workspace.h"
#include "records/Diagnostics.h"
#include "records/History.h"
#include "records/Log.h"

#include <cmath>
#include <cstdlib>
#include <limits>

namespace selvar {

namespace {

constexpr const char *kServerModel = "mlx-community/whisper-large-v3-turbo";
constexpr double kFlashSeconds = 2.5;

// The pill records its showing and hiding in the diagnostics timeline, and its hint names the
// custom trigger key when the user recorded one.
HUD::Hooks pillHooks() {
  HUD::Hooks hooks;
  hooks.event = [](const std::string &name, const nlohmann::json &fields) {
    Diagnostics::event(name, fields);
  };
  hooks.triggerLabel = [] {
    if (auto custom = Prefs::binding(PrefKey::customTriggerKey)) return custom->describe();
    return std::string(triggerHintSymbol(rawValue(TriggerStore::current())));
  };
  return hooks;
}

} // namespace

std::string_view stateName(DictationController::State state) {
  switch (state) {
  case DictationController::State::idle:
    return "idle";
  case DictationController::State::listening:
    return "listening";
  case DictationController::State::transcribing:
    return "transcribing";
  }
  return "idle";
}

// Generations never wrap: an overflow would let a stale callback match a new utterance.
int DictationController::nextGeneration(int generation) {
  if (generation == std::numeric_limits<int>::max()) std::abort();
  return generation + 1;
}

DictationController::DictationController(DictationNeighbours neighbours)
    : neighbours_(std::move(neighbours)),
      hud_(std::make_unique<HUD>(*neighbours_.hudPanel, *neighbours_.screens, pillHooks())),
      hotkeys_(std::make_unique<HotkeyHandler>(*this)) {}

DictationController::~DictationController() {
  if (triggerObserver_) services().notifications->removeObserver(*triggerObserver_);
  lifetime_.reset();
  hotkeys_.reset();
  if (monitor_) monitor_->removeTap();
  if (engine_) engine_->removeTap();
}

std::function<void()> DictationController::guarded(std::function<void()> work) {
  return [life = std::weak_ptr<int>(lifetime_), work = std::move(work)] {
    if (!life.expired()) work();
  };
}

MainQueue &DictationController::queue() const {
  return *services().mainQueue;
}
double DictationController::now() const {
  return services().clock->monotonicSeconds();
}

void DictationController::start() {
  hotkeys_->ensureInstalled();
  applyHandsFreeRule();
  if (triggerObserver_) return;
  triggerObserver_ = services().notifications->observe(
      kTriggerChangedNotification, [this, life = std::weak_ptr<int>(lifetime_), q = &queue()] {
        q->async([this, life] {
          if (!life.expired()) applyHandsFreeRule();
        });
      });
}

void DictationController::applyHandsFreeRule() {
  bool automatic = Prefs::triggerMode() == TriggerMode::automatic;
  handsFreeMode_.store(automatic, std::memory_order_relaxed);
  if (!automatic)
    stopMonitor();
  else if (state() == State::idle && !monitor_)
    startMonitor();
}

void DictationController::beginRecording() {
  if (state() != State::idle) return;
  // Something else started a recording while text was held back: that text goes in first.
  if (pendingInsert_) flushPendingInsert();
  std::optional<ServerEndpoint> endpoint;
  Recognizer recognizer;
  if (!passesEntryChecks(endpoint, recognizer)) return;

  auto &workspace = *services().workspace;
  auto front = workspace.frontmostApplication();
  if (front && front->bundleId == workspace.ownBundleIdentifier()) front.reset();
  targetApp_ = front;
  focusAnchor_ = FocusAnchor::capture(front);
  resetUtterance();

  utterance_ = std::make_shared<Diagnostics::Utterance>();
  utterance_->setSampleRate(engine_ ? engine_->inputFormat().sampleRate : 48000);
  Diagnostics::event("utterance.begin",
                     {{"language", endpoint ? "local-server" : recognizer->localeIdentifier()},
                      {"gen", generation_}});
  serverEndpoint_ = endpoint;
  if (endpoint)
    startServerCapture(generation_, *endpoint, 1);
  else
    startCapture(generation_, recognizer, 1);
}

bool DictationController::passesEntryChecks(std::optional<ServerEndpoint> &endpoint,
                                            Recognizer &recognizer) {
  auto &permissions = *services().permissions;
  if (!permissions.accessibilityTrusted()) {
    flash("Grant Accessibility to Selvar");
    return false;
  }
  if (permissions.microphone() != PermissionState::granted) {
    if (permissions.microphone() == PermissionState::notDetermined)
      permissions.requestMicrophone([](bool) {});
    flash("Grant Microphone to Selvar");
    return false;
  }
  auto engineId = Prefs::dictationEngine();
  endpoint = neighbours_.servers->endpoint(engineId);
  if (endpoint) return serverReadyOrStarting(engineId);
  if (permissions.speechRecognition() != PermissionState::granted) {
    if (permissions.speechRecognition() == PermissionState::notDetermined)
      permissions.requestSpeechRecognition([](PermissionState) {});
    flash("Grant Speech Recognition to Selvar");
    return false;
  }
  recognizer = services().speech->makeRecognizer(languagePreference());
  if (!recognizer || !recognizer->supportsOnDeviceRecognition()) {
    flash("No on-device model for this language");
    return false;
  }
  return true;
}

bool DictationController::serverReadyOrStarting(const std::string &engineId) {
  if (neighbours_.servers->isRunning(engineId, 5.0)) return true;
  flash("Starting the local server\u2026");
  neighbours_.servers->start(25.0, kServerModel,
                             [this, life = std::weak_ptr<int>(lifetime_), q = &queue()](bool ok) {
                               q->async([this, life, ok] {
                                 if (!life.expired()) serverStartFinished(ok);
                               });
                             });
  return false;
}

void DictationController::serverStartFinished(bool started) {
  if (state() != State::idle) return;
  hidePill();
  if (started)
    beginRecording();
  else if (!neighbours_.servers->isServerInstalled())
    flash("Run ./tools/setup-asr.sh once");
  else
    flash("Local server did not start \u2014 see asr-server.log");
}

// The order is deliberate: the per-utterance reset at the end leaves wantsRecording false, so a
// scheduled capture retry finds it false and does nothing; the next trigger press starts afresh.
void DictationController::resetUtterance() {
  wantsRecording_ = true;
  cancelArmed_ = false;
  cancelTimer(cancelArmTimer_);
  generation_ = nextGeneration(generation_);
  capturePeakRMS_.store(0, std::memory_order_relaxed);
  voicedBuffers_.store(0, std::memory_order_relaxed);
  silenceRun_.store(0, std::memory_order_relaxed);
  handsFreeMode_.store(Prefs::triggerMode() == TriggerMode::automatic, std::memory_order_relaxed);
  longestPartial_.clear();
  bestHypothesis_.clear();
  segmentPartial_.clear();
  committedText_.clear();
  segmentRestarts_ = 0;
  resetPerUtterance();
}

void DictationController::resetPerUtterance() {
  committedText_.clear();
  segmentRestarts_ = 0;
  wantsRecording_ = false;
  cancelArmed_ = false;
  cancelTimer(cancelArmTimer_);
}

void DictationController::enterListening(int gen) {
  state_.store(State::listening, std::memory_order_relaxed);
  DictationActivity::inFlight = true;
  startedAt_ = now();
  hud_->show("Listening", std::nullopt);
  observeConfigChanges(gen);
  armAutoStop();
  hotkeys_->updateSwallowedKeys();
}

void DictationController::abort(int gen, const std::string &message) {
  if (gen != generation_) return;
  // Like a commit, an abort ends the utterance for good: a server reply or a recognizer's
  // cancellation report still on its way must not deliver the text the user threw away.
  generation_ = nextGeneration(generation_);
  wantsRecording_ = false;
  purpose_ = Purpose::insert;
  cancelArmed_ = false;
  pendingInsert_ = nullptr;
  pendingText_.reset();
  cancelTimer(cancelArmTimer_);
  targetApp_.reset();
  focusAnchor_.reset();
  longestPartial_.clear();
  bestHypothesis_.clear();
  segmentPartial_.clear();
  committedText_.clear();
  cancelTimer(rolloverTimer_);
  cancelTimer(maxDurationTimer_);
  removeConfigObserver();
  discardRecorder();
  serverEndpoint_.reset();
  if (task_) task_->cancel();
  task_.reset();
  request_.reset();
  requestBox_.set(nullptr);
  stopEngine();
  startedAt_.reset();
  state_.store(State::idle, std::memory_order_relaxed);
  DictationActivity::inFlight = false;
  hidePill();
  Log::write("capture aborted: " + message);
  Diagnostics::event("capture.aborted", {{"message", message}});
  flash(message);
  hotkeys_->updateSwallowedKeys();
}

void DictationController::flash(const std::string &message) {
  if (state() != State::idle) {
    Log::write("flash suppressed while " + std::string(stateName(state())) + ": " + message);
    return;
  }
  hud_->show(message, std::nullopt);
  // Each flash hides the pill 2.5 s after it was shown, whatever message is on it by then.
  queue().asyncAfter(kFlashSeconds, guarded([this] {
                       if (state() == State::idle) hidePill();
                     }));
}

void DictationController::hidePill() {
  hud_->hide();
}

void DictationController::armAutoStop() {
  cancelTimer(maxDurationTimer_);
  auto minutes = Prefs::autoStopMinutes();
  if (minutes < 1 || minutes > std::numeric_limits<std::int64_t>::max() / 60) return;
  maxDurationTimer_ = queue().scheduleTimer(
      static_cast<double>(minutes * 60), guarded([this, minutes] {
        if (state() != State::listening) return;
        Log::write("auto-stop: " + std::to_string(minutes) + " minutes reached");
        endRecording();
      }));
}

void DictationController::runTestUtterance(double seconds) {
  if (state() != State::idle) return;
  if (!std::isfinite(seconds) || seconds < 0 || seconds > 1e9) {
    Log::write("test utterance: unusable duration");
    return;
  }
  beginRecording();
  if (state() != State::listening) return;
  Log::write("test utterance started, will stop after " +
             std::to_string(static_cast<long long>(seconds)) + "s");
  queue().asyncAfter(seconds, guarded([this] {
                       if (state() != State::listening) return;
                       Log::write("test utterance ending");
                       endRecording();
                     }));
}

void DictationController::beginFeedbackRecording() {
  if (state() != State::idle) return;
  purpose_ = Purpose::feedback;
  beginRecording();
  if (state() == State::listening) return;
  purpose_ = Purpose::insert;
  // The user can still type the report.
  queue().async(guarded([this] { neighbours_.feedback->show(std::nullopt); }));
}

void DictationController::pasteLast() {
  if (auto text = History::mostRecentText())
    insertText(*text, services().workspace->frontmostApplication(), std::nullopt);
  else
    flash("No dictation yet");
}

std::string DictationController::languagePreference() const {
  return Prefs::recognitionLanguage().value_or("en-US");
}

} // namespace selvar
