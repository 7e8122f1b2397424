#include "app/AppDelegate.h"

#include "app/MainMenu.h"
#include "app/Prefs.h"
#include "insertion/TextInserter.h"
#include "platform/MainQueue.h"
#include "platform/Services.h"
#include "platform/SettingsStore.h"
#include "records/Log.h"
#include "servers/EngineCatalog.h"

namespace selvar {

namespace {
constexpr double kServedModelTimeout = 2.0;

std::string joined(const std::vector<std::string> &names) {
  std::string out;
  for (const auto &n : names)
    out += (out.empty() ? "" : ", ") + n;
  return out;
}
} // namespace

AppDelegate::AppDelegate(AppHost &host, AppSubsystems &subsystems, SingleInstance &instance,
                         CommandLineOptions options)
    : host_(host), subsystems_(subsystems), instance_(instance), options_(std::move(options)) {}

AppDelegate::~AppDelegate() {
  *alive_ = false;
  if (triggerObserver_) services().notifications->removeObserver(triggerObserver_);
}

void AppDelegate::applicationDidFinishLaunching() {
  InstanceClaim claim = instance_.claim();
  if (!claim.acquired) {
    // Nothing else is created: no status item, no controller, no key tap.
    report("another copy is already running pid=" + std::to_string(claim.holderPid) +
           "; this one quits");
    host_.terminate();
    return;
  }
  running_ = true;
  startUp();
}

void AppDelegate::startUp() {
  subsystems_.installLog();
  subsystems_.startFocusTracking();
  Log::write("Selvar launched version=" + host_.appVersion() + " os=" + host_.osVersion());
  subsystems_.flushFeedbackOutbox();
  host_.installMainMenu(MainMenu::build(subsystems_.updaterAvailable()),
                        [this](const MenuItem &item) { handleMenu(item); });
  host_.installStatusItem(
      subsystems_.toolTip(), [this] { return rebuildMenu(); },
      [this](const MenuItem &item) { handleMenu(item); });
  triggerObserver_ = services().notifications->observe(
      kTriggerChangedNotification, [this] { host_.setStatusToolTip(subsystems_.toolTip()); });
  subsystems_.healStaleGrants();
  controller_ = subsystems_.makeController();
  if (controller_) controller_->start();
  subsystems_.enforceLoginItem();
  Log::write("ready");
  chooseDefaultEngine();
  runSwitches();
  purgeAndCheckConflicts();
  startupDone_ = true;
  if (anyEndingSwitch_ && pendingEndingSwitches_ == 0) host_.terminate();
}

void AppDelegate::chooseDefaultEngine() {
  if (Prefs::dictationEngineChosen()) return;
  std::weak_ptr<bool> alive = alive_;
  // The work may run after this delegate is gone (at quit); it touches only the subsystems.
  subsystems_.runInBackground([&subsystems = subsystems_, alive] {
    auto served = subsystems.servedModel(kServedModelTimeout);
    std::string engine = EngineCatalog::defaultEngine(served);
    services().mainQueue->async([alive, served, engine] {
      if (alive.expired() || Prefs::dictationEngineChosen()) return; // picked meanwhile
      if (services().settings->stringValue(PrefKey::dictationEngine) == engine) return;
      Prefs::setString(PrefKey::dictationEngine, engine);
      Log::write("default engine: " + engine + " (served=" + served.value_or("none") + ")");
    });
  });
}

void AppDelegate::purgeAndCheckConflicts() {
  subsystems_.purgeRecords(static_cast<int>(Prefs::historyRetentionDays()));
  auto conflicts = subsystems_.runningConflicts();
  if (!conflicts.empty()) Log::write("other dictation app running: " + joined(conflicts));
}

void AppDelegate::applicationWillTerminate() {
  if (!running_ || terminating_) return;
  terminating_ = true;
  subsystems_.stopLaunchedServer();
}

std::vector<MenuItem> AppDelegate::rebuildMenu() {
  StatusMenuState state = subsystems_.statusMenuState();
  state.failedRecordingKept = controller_ && controller_->hasFailedRecording();
  return StatusMenu::build(state);
}

bool AppDelegate::controlCommand(const std::string &word) {
  if (word == kShowSettingsWord) {
    subsystems_.openSettings(false);
    return true;
  }
  auto command = controlCommandNamed(word);
  if (!command) {
    Log::write("control command not understood: " + word);
    return false;
  }
  if (controller_) controller_->control(*command);
  return true;
}

void AppDelegate::handleMenu(const MenuItem &item) {
  switch (item.action) {
  case MenuAction::pasteLastDictation:
    pasteLastDictation();
    break;
  case MenuAction::pasteRecent:
    pasteRecent(item);
    break;
  case MenuAction::retryFailedDictation:
    retryFailedDictation();
    break;
  case MenuAction::openSettings:
    subsystems_.openSettings(false);
    break;
  case MenuAction::openFeedback:
    subsystems_.openFeedback(std::nullopt);
    break;
  case MenuAction::checkForUpdates:
    subsystems_.checkForUpdates();
    break;
  case MenuAction::about:
    host_.showAboutPanel();
    break;
  case MenuAction::hide:
    host_.hideApplication();
    break;
  case MenuAction::quit:
    host_.terminate();
    break;
  default:
    break; // editing commands go to the focused text field, not to us
  }
}

void AppDelegate::pasteLastDictation() {
  if (controller_) controller_->pasteLast();
}

void AppDelegate::pasteRecent(const MenuItem &item) {
  if (item.representedText.empty()) return;
  subsystems_.insertIntoFrontmost(item.representedText, [this] {
    if (controller_) controller_->flash(TextInserter::kCopiedOnlyMessage);
  });
}

void AppDelegate::retryFailedDictation() {
  // The controller logs the attempt and shows a failure in the pill itself.
  if (controller_ && controller_->hasFailedRecording()) controller_->retryFailedRecording({});
}

void AppDelegate::report(const std::string &line) {
  Log::write(line);
  host_.printToTerminal(line);
}

void AppDelegate::beginEndingSwitch() {
  anyEndingSwitch_ = true;
  ++pendingEndingSwitches_;
}

void AppDelegate::endEndingSwitch() {
  // Several ending switches may run together; the process ends after the last one, and never
  // before the start-up sequence has finished.
  if (--pendingEndingSwitches_ == 0 && startupDone_) host_.terminate();
}

} // namespace selvar
