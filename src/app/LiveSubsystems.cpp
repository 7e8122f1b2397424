#include "app/LiveSubsystems.h"

#include "app/AppFocus.h"
#include "app/IconSet.h"
#include "app/LoginItem.h"
#include "app/Prefs.h"
#include "app/RewriteServerChoice.h"
#include "app/Updater.h"
#include "feedback/FeedbackSubmitter.h"
#include "feedback/FeedbackWindowController.h"
#include "hotkeys/DictationConflict.h"
#include "hotkeys/KeyChoices.h"
#include "insertion/TextInserter.h"
#include "permissions/Permissions.h"
#include "platform/MainQueue.h"
#include "platform/Services.h"
#include "platform/Workspace.h"
#include "records/Diagnostics.h"
#include "records/History.h"
#include "records/Log.h"
#include "servers/LocalServer.h"
#include "servers/ModelInstall.h"
#include "servers/RewriteClient.h"
#include "servers/TranscriptionClient.h"
#include "support/Time.h"
#include "support/Uuid.h"

#include <fstream>
#include <iterator>

namespace selvar {

namespace {

constexpr const char *kSmokeTestMessage = "client path smoke test from --feedback-test";
constexpr double kRewriteTestTimeout = 8.0;
constexpr double kServerStartTimeout = 25.0;
constexpr const char *kTranscriptionModel = "mlx-community/whisper-large-v3-turbo";

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

// Hands an outcome that may arrive on any thread to the main queue.
OutcomeHandler onMain(OutcomeHandler done) {
  return [done = std::move(done)](TestOutcome outcome) {
    services().mainQueue->async([done, outcome = std::move(outcome)] { done(outcome); });
  };
}

TestOutcome outcomeOf(const ServerResult<std::string> &result) {
  return result.ok() ? TestOutcome{true, result.value()}
                     : TestOutcome{false, describe(result.error())};
}

std::optional<std::string> readAudio(const std::string &path, std::string &error) {
  std::ifstream in(path, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (bytes.empty()) {
    error = "cannot read " + path + " (missing or empty)";
    return std::nullopt;
  }
  return bytes;
}

void transcribe(std::shared_ptr<const std::string> audio, const OutcomeHandler &done) {
  TranscriptionClient::Job job;
  job.audio = std::move(audio);
  job.endpoint = LocalServer::transcriptionEndpoint();
  job.endpoint.model = kTranscriptionModel;
  TranscriptionClient::tryNext(std::move(job), {{TranscriptionClient::kTranscriptionPath, true}},
                               [done](ServerResult<std::string> r) { done(outcomeOf(r)); });
}

} // namespace

LiveSubsystems::LiveSubsystems(Parts parts) : parts_(std::move(parts)) {}

// Standard error goes into the log too: toolkit warnings (GTK, GLib, AppKit) then show up next
// to the app's own lines and in the log tail of feedback reports.
void LiveSubsystems::installLog() {
  Log::install(true);
}
void LiveSubsystems::startFocusTracking() {
  AppFocus::start();
}
void LiveSubsystems::flushFeedbackOutbox() {
  FeedbackSubmitter::flushOutbox();
}
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

std::optional<std::string> LiveSubsystems::servedModel(double timeout) {
  return ModelInstall::servedModel(timeout);
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

void LiveSubsystems::stopLaunchedServer() {
  LocalServer::stopLaunched();
}

StatusMenuState LiveSubsystems::statusMenuState() {
  StatusMenuState state;
  state.pasteLastKey = pasteLastKey(PasteShortcutStore::current());
  for (auto &u : History::recentUtterances(static_cast<int>(StatusMenu::kRecentLimit)))
    state.recentTexts.push_back(std::move(u.text));
  return state;
}

std::string LiveSubsystems::toolTip() {
  return StatusMenu::toolTip(Prefs::triggerMode(), shortLabel(TriggerStore::current()));
}

void LiveSubsystems::insertIntoFrontmost(const std::string &text,
                                         std::function<void()> copiedOnly) {
  Workspace *workspace = services().workspace;
  TextInserter::insert(text, workspace ? workspace->frontmostApplication() : std::nullopt,
                       std::nullopt, std::move(copiedOnly));
}

void LiveSubsystems::openSettings(bool expanded) {
  if (parts_.openSettings) parts_.openSettings(expanded);
}

void LiveSubsystems::openFeedback(std::optional<std::string> dictated) {
  FeedbackWindowController::show(std::move(dictated));
}

void LiveSubsystems::checkForUpdates() {
  Updater::checkForUpdates();
}
bool LiveSubsystems::updaterAvailable() {
  return Updater::isAvailable();
}

void LiveSubsystems::sendFeedbackTest(OutcomeHandler done) {
  FeedbackDraft draft;
  draft.kind = FeedbackKind::idea;
  draft.message = kSmokeTestMessage;
  draft.includeSystemInfo = true;
  auto report = FeedbackSubmitter::payload(draft, makeUuidString(), formatIso8601(wallNow()));
  // The submitter already answers on the main queue.
  FeedbackSubmitter::send(report, [done](FeedbackSubmitter::SendResult r) {
    done(r.ok() ? TestOutcome{true, r.value()}
                : TestOutcome{false, FeedbackSubmitter::describe(r.error())});
  });
}

std::optional<std::string> LiveSubsystems::writeIconSet(const std::string &folder) {
  if (!parts_.iconRenderer) return std::string("no icon renderer on this platform");
  return IconSet::write(folder, *parts_.iconRenderer);
}

void LiveSubsystems::rewriteTest(const std::string &text, OutcomeHandler done) {
  auto endpoint = configuredRewriteEndpoint();
  if (!endpoint) return done({false, "no usable rewrite server address in the settings"});
  // A screened-out reply still reports ok with the text it hands back (the input), after the
  // client's log lines that say why.
  RewriteClient::rewrite(
      text, *endpoint, kRewriteTestTimeout,
      [done = onMain(std::move(done))](ServerResult<RewriteClient::Rewrite> r) {
        done(r.ok() ? TestOutcome{true, r.value().text} : TestOutcome{false, describe(r.error())});
      });
}

void LiveSubsystems::transcribeFile(const std::string &path, OutcomeHandler done) {
  // A file that cannot be read is reported before a server is started for nothing.
  std::string error;
  auto bytes = readAudio(path, error);
  if (!bytes) return done({false, error});
  auto audio = std::make_shared<const std::string>(std::move(*bytes));
  OutcomeHandler answer = onMain(std::move(done));
  LocalServer::start(kServerStartTimeout, kTranscriptionModel, [audio, answer](bool started) {
    if (!started) return answer({false, ServerError::notRunning().description()});
    transcribe(audio, answer);
  });
}

bool LiveSubsystems::transcriptionServerRunning() {
  return LocalServer::isRunning(LocalServer::kTranscriptionID, 0);
}

std::unique_ptr<HUDControl> LiveSubsystems::makeHUD() {
  return parts_.makeHUD ? parts_.makeHUD() : nullptr;
}

} // namespace selvar
