#include "app/LiveSubsystems.h"

#include "app/AppFocus.h"
#include "app/IconSet.h"
#include "app/LoginItem.h"
#include "app/Prefs.h"
#include "app/Updater.h"
#include "hotkeys/DictationConflict.h"
#include "hotkeys/KeyChoices.h"
#include "permissions/Permissions.h"
#include "platform/MainQueue.h"
#include "platform/Services.h"
#include "records/Diagnostics.h"
#include "records/History.h"
#include "records/Log.h"

namespace selvar {

namespace {

// The paste-last chord as the menu shows it.
std::optional<KeyEquivalent> pasteLastKey(PasteShortcut shortcut) {
  switch (shortcut) {
  case PasteShortcut::controlCommandV:
    return KeyEquivalent{"v", MenuModifier::control | MenuModifier::command};
  case PasteShortcut::controlOptionV:
    return KeyEquivalent{"v", MenuModifier::control | MenuModifier::option};
  case PasteShortcut::commandShiftV:
    return KeyEquivalent{"v", MenuModifier::shift | MenuModifier::command};
  case PasteShortcut::disabled:
    return std::nullopt;
  }
  return std::nullopt;
}

} // namespace

LiveSubsystems::LiveSubsystems(Parts parts) : parts_(std::move(parts)) {}

void LiveSubsystems::installLog() {
  Log::install(parts_.redirectStandardError);
}
void LiveSubsystems::startFocusTracking() {
  AppFocus::start();
}
void LiveSubsystems::flushFeedbackOutbox() {}
bool LiveSubsystems::healStaleGrants() {
  return Permissions::healStaleGrants();
}

std::unique_ptr<DictationControl> LiveSubsystems::makeController() {
  return parts_.makeController ? parts_.makeController() : nullptr;
}

void LiveSubsystems::enforceLoginItem() {
  LoginItem::enforcePreference();
}

void LiveSubsystems::runInBackground(std::function<void()> work) {
  background_.async(std::move(work));
}

std::optional<std::string> LiveSubsystems::servedModel(double) {
  return std::nullopt;
}

void LiveSubsystems::purgeRecords(int days) {
  History::purge(days);
  Diagnostics::purge(days);
}

std::vector<std::string> LiveSubsystems::runningConflicts() {
  std::vector<std::string> names;
  for (const auto &app : DictationConflict::running())
    names.emplace_back(app.displayName);
  return names;
}

void LiveSubsystems::stopLaunchedServer() {}

StatusMenuState LiveSubsystems::statusMenuState() {
  StatusMenuState state;
  state.pasteLastKey = pasteLastKey(PasteShortcutStore::current());
  for (auto &u : History::recentUtterances(static_cast<int>(StatusMenu::kRecentLimit)))
    state.recentTexts.push_back(std::move(u.text));
  state.failedRecordingKept = hasFailedRecording();
  return state;
}

std::string LiveSubsystems::toolTip() {
  return StatusMenu::toolTip(Prefs::triggerMode(), shortLabel(TriggerStore::current()));
}

void LiveSubsystems::insertIntoFrontmost(const std::string &) {}

void LiveSubsystems::openSettings(bool expanded) {
  if (parts_.openSettings) parts_.openSettings(expanded);
}

void LiveSubsystems::openFeedback(std::optional<std::string>) {}
void LiveSubsystems::checkForUpdates() {
  Updater::checkForUpdates();
}
bool LiveSubsystems::updaterAvailable() {
  return Updater::isAvailable();
}

void LiveSubsystems::sendFeedbackTest(OutcomeHandler done) {
  done({false, "feedback sending is not available in this build"});
}

std::optional<std::string> LiveSubsystems::writeIconSet(const std::string &folder) {
  if (!parts_.iconRenderer) return std::string("no icon renderer on this platform");
  return IconSet::write(folder, *parts_.iconRenderer);
}

void LiveSubsystems::rewriteTest(const std::string &, OutcomeHandler done) {
  done({false, "the local server is not running"});
}

void LiveSubsystems::transcribeFile(const std::string &, OutcomeHandler done) {
  done({false, "the local server is not running"});
}

bool LiveSubsystems::transcriptionServerRunning() {
  return false;
}
bool LiveSubsystems::hasFailedRecording() {
  return false;
}

void LiveSubsystems::retryFailedDictation(OutcomeHandler done) {
  done({false, "no failed recording is kept"});
}

std::unique_ptr<HUDControl> LiveSubsystems::makeHUD() {
  return parts_.makeHUD ? parts_.makeHUD() : nullptr;
}

} // namespace selvar
