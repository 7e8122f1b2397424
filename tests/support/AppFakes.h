#pragma once
// Recording stand-ins for everything the application delegate reaches. They share one
// timeline, into which the log's new lines are merged as they appear, so a test can read the
// whole start-up sequence in order.

#include "app/AppSubsystems.h"
#include "platform/AppHost.h"
#include "platform/SingleInstance.h"
#include "support/LogLines.h"

#include <deque>

namespace selvar::shelltest {

class Timeline {
public:
  void note(const std::string &entry) {
    catchUpWithLog();
    entries.push_back(entry);
  }
  // The log lines written since the last note, as "log: …" entries.
  void catchUpWithLog() {
    auto lines = logMessages();
    for (; logSeen_ < lines.size(); ++logSeen_)
      entries.push_back("log: " + lines[logSeen_]);
  }
  std::vector<std::string> entries;

private:
  std::size_t logSeen_ = 0;
};

class RecordingHost : public AppHost {
public:
  explicit RecordingHost(Timeline &t) : timeline(t) {}
  void installMainMenu(const std::vector<Menu> &m, MenuHandler) override {
    menus = m;
    timeline.note("main menu");
  }
  void installStatusItem(const std::string &tip, std::function<std::vector<MenuItem>()> build,
                         MenuHandler handler) override {
    toolTip = tip;
    buildMenu = std::move(build);
    menuHandler = std::move(handler);
    timeline.note("status item");
  }
  void setStatusToolTip(const std::string &tip) override { toolTip = tip; }
  void showAboutPanel() override { timeline.note("about"); }
  void hideApplication() override { timeline.note("hide"); }
  void terminate() override {
    ++terminations;
    timeline.note("terminate");
  }
  void printToTerminal(const std::string &line) override { terminal.push_back(line); }
  std::string appVersion() const override { return "0.1.0"; }
  std::string osVersion() const override { return "Debian GNU/Linux 12; Linux 6.1.0"; }

  Timeline &timeline;
  std::vector<Menu> menus;
  std::string toolTip;
  std::function<std::vector<MenuItem>()> buildMenu;
  MenuHandler menuHandler;
  int terminations = 0;
  std::vector<std::string> terminal;
};

class ScriptedInstance : public SingleInstance {
public:
  InstanceClaim result{true, 0};
  InstanceClaim claim() override { return result; }
};

class RecordingController : public DictationControl {
public:
  explicit RecordingController(Timeline &t) : timeline(t) {}
  void start() override { timeline.note("controller start"); }
  void runTestUtterance(double seconds) override {
    testSeconds.push_back(seconds);
    listening = startsListening;
  }
  bool isListening() const override { return listening; }
  void pasteLast() override { timeline.note("paste last"); }
  void flash(const std::string &message) override { flashes.push_back(message); }
  void control(ControlCommand command) override { commands.push_back(command); }
  bool hasFailedRecording() const override { return failedKept; }
  void retryFailedRecording(RetryDone done) override {
    ++retries;
    retryDone = std::move(done);
  }

  Timeline &timeline;
  bool startsListening = true;
  bool failedKept = false;
  int retries = 0;
  RetryDone retryDone;
  bool listening = false;
  std::vector<double> testSeconds;
  std::vector<std::string> flashes;
  std::vector<ControlCommand> commands;
};

class RecordingHUD : public HUDControl {
public:
  explicit RecordingHUD(Timeline &t) : timeline(t) {}
  void show(const std::string &state) override {
    visible = true;
    states.push_back(state);
  }
  void hide() override {
    visible = false;
    timeline.note("hud hide");
  }
  bool isVisible() const override { return visible; }
  void updateSpectrum(std::span<const float> levels) override {
    ++frames;
    bands = levels.size();
  }
  Timeline &timeline;
  bool visible = false;
  std::vector<std::string> states;
  int frames = 0;
  std::size_t bands = 0;
};

class RecordingSubsystems : public AppSubsystems {
public:
  explicit RecordingSubsystems(Timeline &t) : timeline(t) {}

  void installLog() override { timeline.note("log install"); }
  void startFocusTracking() override { timeline.note("focus tracking"); }
  void flushFeedbackOutbox() override { timeline.note("outbox flush"); }
  bool healStaleGrants() override {
    timeline.note("heal grants");
    return false;
  }
  std::unique_ptr<DictationControl> makeController() override {
    timeline.note("controller created");
    auto c = std::make_unique<RecordingController>(timeline);
    c->failedKept = failedRecordingKept;
    controller = c.get();
    return c;
  }
  void enforceLoginItem() override { timeline.note("login item"); }
  void runInBackground(std::function<void()> work) override {
    timeline.note("background");
    background.push_back(std::move(work));
  }
  std::optional<std::string> servedModel(double timeout) override {
    servedTimeouts.push_back(timeout);
    return served;
  }
  void purgeRecords(int days) override { timeline.note("purge " + std::to_string(days)); }
  std::vector<std::string> runningConflicts() override {
    timeline.note("conflicts");
    return conflicts;
  }
  void stopLaunchedServer() override { timeline.note("stop launched server"); }

  StatusMenuState statusMenuState() override { return menuState; }
  std::string toolTip() override { return "tip " + std::to_string(++toolTips); }
  void insertIntoFrontmost(const std::string &text, std::function<void()> copiedOnly) override {
    inserted.push_back(text);
    if (insertsCopyOnly) copiedOnly();
  }
  void openSettings(bool expanded) override {
    timeline.note(expanded ? "settings expanded" : "settings");
  }
  void openFeedback(std::optional<std::string> dictated) override {
    timeline.note("feedback window " + dictated.value_or("(empty)"));
  }
  void checkForUpdates() override { timeline.note("check for updates"); }
  bool updaterAvailable() override { return false; }

  void sendFeedbackTest(OutcomeHandler done) override { pending.push_back(std::move(done)); }
  std::optional<std::string> writeIconSet(const std::string &folder) override {
    iconFolders.push_back(folder);
    return iconError;
  }
  void rewriteTest(const std::string &text, OutcomeHandler done) override {
    requests.push_back("rewrite " + text);
    pending.push_back(std::move(done));
  }
  void transcribeFile(const std::string &path, OutcomeHandler done) override {
    requests.push_back("transcribe " + path);
    pending.push_back(std::move(done));
  }
  bool transcriptionServerRunning() override { return serverRunning; }
  std::unique_ptr<HUDControl> makeHUD() override {
    auto h = std::make_unique<RecordingHUD>(timeline);
    hud = h.get();
    return h;
  }

  // Runs the work queued for the background, as a worker thread would.
  void drainBackground() {
    while (!background.empty()) {
      auto work = std::move(background.front());
      background.pop_front();
      work();
    }
  }
  // Completes the oldest pending operation.
  void complete(TestOutcome outcome) {
    auto done = std::move(pending.front());
    pending.pop_front();
    done(std::move(outcome));
  }

  Timeline &timeline;
  RecordingController *controller = nullptr;
  RecordingHUD *hud = nullptr;
  std::deque<std::function<void()>> background;
  std::deque<OutcomeHandler> pending;
  std::optional<std::string> served;
  std::vector<double> servedTimeouts;
  std::vector<std::string> conflicts;
  StatusMenuState menuState;
  int toolTips = 0;
  std::vector<std::string> inserted;
  bool insertsCopyOnly = false; // the session could only copy what it was asked to insert
  std::vector<std::string> iconFolders;
  std::optional<std::string> iconError;
  std::vector<std::string> requests;
  bool serverRunning = false;
  bool failedRecordingKept = false; // for the controller it creates
};

} // namespace selvar::shelltest
