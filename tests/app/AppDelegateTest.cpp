#include "app/AppDelegate.h"

#include "app/Prefs.h"
#include "platform/fake/FakeEnvironment.h"
#include "support/AppFakes.h"

#include <gtest/gtest.h>

namespace selvar {
namespace {

using namespace shelltest;
using Lines = std::vector<std::string>;

class AppDelegateTest : public ::testing::Test {
protected:
  AppDelegate &launch(std::vector<std::string> args = {}) {
    args.insert(args.begin(), "selvar");
    delegate =
        std::make_unique<AppDelegate>(host, subsystems, instance, CommandLineOptions::parse(args));
    delegate->applicationDidFinishLaunching();
    return *delegate;
  }
  RecordingController &controller() { return *subsystems.controller; }
  // The timeline from the first entry that starts with `from`.
  Lines timelineFrom(const std::string &from) {
    timeline.catchUpWithLog();
    auto &e = timeline.entries;
    auto it = std::find_if(e.begin(), e.end(), [&](auto &s) { return s.rfind(from, 0) == 0; });
    return Lines(it, e.end());
  }
  Lines logLines() {
    Lines out;
    timeline.catchUpWithLog();
    for (const auto &e : timeline.entries)
      if (e.rfind("log: ", 0) == 0) out.push_back(e.substr(5));
    return out;
  }

  FakeEnvironment env;
  Timeline timeline;
  RecordingHost host{timeline};
  RecordingSubsystems subsystems{timeline};
  ScriptedInstance instance;
  std::unique_ptr<AppDelegate> delegate;
};

TEST_F(AppDelegateTest, StartsUpInTheFixedOrder) {
  subsystems.conflicts = {"Scribe", "Talon"};
  env.settings.setValue(PrefKey::historyRetentionDays, std::int64_t{30});
  launch();
  timeline.catchUpWithLog();
  EXPECT_EQ(timeline.entries,
            (Lines{"log install", "focus tracking",
                   "log: Selvar launched version=0.1.0 os=Debian GNU/Linux 12; Linux 6.1.0",
                   "outbox flush", "main menu", "status item", "heal grants", "controller created",
                   "controller start", "login item", "log: ready", "background", "purge 30",
                   "conflicts", "log: other dictation app running: Scribe, Talon"}));
  EXPECT_EQ(host.terminations, 0);
  EXPECT_TRUE(host.terminal.empty()) << "a plain launch prints nothing";
}

TEST_F(AppDelegateTest, ASecondCopyQuitsBeforeCreatingAnything) {
  instance.result = {false, 4242};
  launch({"--hud-selftest"});
  EXPECT_FALSE(delegate->isRunning());
  EXPECT_EQ(host.terminations, 1);
  EXPECT_EQ(timelineFrom(""), (Lines{"log: another copy is already running pid=4242; this one "
                                     "quits",
                                     "terminate"}));
  EXPECT_EQ(subsystems.controller, nullptr);
  EXPECT_EQ(subsystems.hud, nullptr);
  delegate->applicationWillTerminate();
  EXPECT_EQ(timeline.entries.back(), "terminate") << "it launched no server to stop";
}

TEST_F(AppDelegateTest, ControlWordsReachTheControllerOrTheSettingsWindow) {
  launch();
  EXPECT_TRUE(delegate->controlCommand("stop"));
  EXPECT_TRUE(delegate->controlCommand(AppDelegate::kShowSettingsWord));
  EXPECT_FALSE(delegate->controlCommand("--stop"));
  EXPECT_FALSE(delegate->controlCommand("Settings"));
  EXPECT_EQ(controller().commands, std::vector<ControlCommand>{ControlCommand::stop});
  timeline.catchUpWithLog();
  EXPECT_EQ(std::count(timeline.entries.begin(), timeline.entries.end(), "settings"), 1);
  EXPECT_EQ(logLines().back(), "control command not understood: Settings");
}

TEST_F(AppDelegateTest, QuittingStopsTheLaunchedServerOnce) {
  launch();
  delegate->handleMenu(MenuItem::command("Quit Selvar", MenuAction::quit));
  EXPECT_EQ(host.terminations, 1);
  delegate->applicationWillTerminate();
  delegate->applicationWillTerminate();
  auto tail = timelineFrom("terminate");
  EXPECT_EQ(tail, (Lines{"terminate", "stop launched server"}));
}

TEST_F(AppDelegateTest, DefaultEngineFollowsTheServedModelUnlessTheUserChose) {
  struct Case {
    bool chosen;
    std::optional<std::string> stored, served;
    std::string engineAfter;
    std::optional<std::string> line;
  } cases[] = {
      {true, "apple-on-device", "mlx-community/whisper-large-v3-turbo", "apple-on-device", {}},
      {false, std::nullopt, "mlx-community/whisper-large-v3-turbo", "server-transcription",
       "default engine: server-transcription (served=mlx-community/whisper-large-v3-turbo)"},
      {false, std::nullopt, std::nullopt, "server-transcription",
       "default engine: server-transcription (served=none)"},
      {false, "server-transcription", "m", "server-transcription", {}},
  };
  for (const auto &c : cases) {
    FakeEnvironment caseEnv;
    Timeline t;
    RecordingHost h{t};
    RecordingSubsystems s{t};
    s.served = c.served;
    caseEnv.settings.setValue(PrefKey::dictationEngineChosen, c.chosen);
    if (c.stored) caseEnv.settings.setValue(PrefKey::dictationEngine, *c.stored);
    AppDelegate d(h, s, instance, {});
    d.applicationDidFinishLaunching();
    s.drainBackground();
    caseEnv.queue.runUntilIdle();
    EXPECT_EQ(Prefs::dictationEngine(), c.engineAfter);
    EXPECT_EQ(logCountStartingWith("default engine: "), c.line ? 1u : 0u);
    if (c.line) {
      EXPECT_TRUE(logHas(*c.line));
    }
    if (c.chosen)
      EXPECT_TRUE(s.servedTimeouts.empty()) << "no probe when the user chose";
    else
      EXPECT_EQ(s.servedTimeouts, std::vector<double>{2.0});
  }
}

TEST_F(AppDelegateTest, AChoiceMadeWhileTheServerIsAskedIsKept) {
  subsystems.served = "mlx-community/whisper-large-v3-turbo";
  env.settings.setValue(PrefKey::dictationEngine, std::string("apple-on-device"));
  launch();
  env.settings.setValue(PrefKey::dictationEngineChosen, true);
  subsystems.drainBackground();
  env.queue.runUntilIdle();
  EXPECT_EQ(Prefs::dictationEngine(), "apple-on-device");
}

struct SwitchCase {
  std::vector<std::string> args;
  std::optional<TestOutcome> reply; // completes the pending operation
  std::optional<std::string> line;  // the outcome line, in the log and on the terminal
  bool ends;
};

TEST_F(AppDelegateTest, EachSwitchReportsItsOutcomeAndEndsWhenItShould) {
  SwitchCase cases[] = {
      {{"--feedback-test"}, TestOutcome{true, "5F0C"}, "feedback-test ok id=5F0C", true},
      {{"--feedback-test"}, TestOutcome{false, "offline"}, "feedback-test failed: offline", true},
      {{"--write-icon", "/tmp/i"}, {}, "iconset written to /tmp/i", true},
      {{"--rewrite-test", "um so hello"},
       TestOutcome{true, "So, hello."},
       "rewrite-test ok: So, hello.",
       true},
      {{"--transcribe-file", "a.wav"},
       TestOutcome{false, "the local server is not running"},
       "transcribe-file failed: the local server is not running",
       true},
      {{"--retry-failed"}, {}, "retry-failed failed: no failed recording is kept", true},
      {{"--dictate-test", "soon"}, {}, {}, false},
      {{"--feedback"}, {}, {}, false},
      {{"--write-icon"}, {}, {}, false},
  };
  for (const auto &c : cases) {
    FakeEnvironment caseEnv;
    Timeline t;
    RecordingHost h{t};
    RecordingSubsystems s{t};
    auto args = c.args;
    args.insert(args.begin(), "selvar");
    AppDelegate d(h, s, instance, CommandLineOptions::parse(args));
    d.applicationDidFinishLaunching();
    if (c.reply) {
      EXPECT_EQ(h.terminations, 0) << c.args[0] << ": ends only after the reply";
      s.complete(*c.reply);
    }
    caseEnv.queue.runUntilIdle();
    EXPECT_EQ(h.terminations, c.ends ? 1 : 0) << c.args[0];
    EXPECT_EQ(h.terminal, c.line ? Lines{*c.line} : Lines{}) << c.args[0];
    if (c.line) {
      EXPECT_TRUE(logHas(*c.line));
    }
    EXPECT_TRUE(s.controller->testSeconds.empty());
  }
}

TEST_F(AppDelegateTest, WindowSwitchesOpenTheirWindows) {
  launch({"--settings-more", "--feedback-voice", "the fan is loud", "--feedback"});
  EXPECT_TRUE(Prefs::settingsExpanded());
  auto tail = timelineFrom("feedback window");
  EXPECT_EQ(tail[0], "feedback window (empty)");
  EXPECT_EQ(tail[1], "feedback window the fan is loud");
  EXPECT_EQ(tail[2], "settings expanded");
  EXPECT_EQ(host.terminations, 0);
}

TEST_F(AppDelegateTest, DictateTestRunsTheControllerAndStaysUp) {
  launch({"--dictate-test", "3.9"});
  EXPECT_EQ(controller().testSeconds, std::vector<double>{3.9});
  EXPECT_EQ(host.terminal, Lines{"dictate-test: recording for 3 s"});
  EXPECT_EQ(host.terminations, 0);
}

TEST_F(AppDelegateTest, ServerDictateTestStoresTheEngineProbesThenRecords) {
  subsystems.serverRunning = true;
  env.settings.setValue(PrefKey::dictationEngineChosen, true);
  launch({"--server-dictate-test", "2"});
  EXPECT_EQ(Prefs::dictationEngine(), "server-transcription");
  EXPECT_TRUE(controller().testSeconds.empty()) << "waits for the probe";
  subsystems.drainBackground();
  env.queue.runUntilIdle();
  EXPECT_TRUE(logHas("server dictate test: engine=server-transcription running=true"));
  EXPECT_EQ(controller().testSeconds, std::vector<double>{2});
  EXPECT_EQ(host.terminations, 0);
}

TEST_F(AppDelegateTest, HudSelftestWritesFiveNumberedCyclesThenQuits) {
  launch({"--hud-selftest"});
  for (int i = 0; i < 4; ++i)
    env.queue.advance(0.5);
  EXPECT_EQ(host.terminations, 0);
  env.queue.advance(0.5);
  env.queue.advance(5);
  Lines expected;
  for (int i = 1; i <= 5; ++i)
    expected.push_back("selftest cycle=" + std::to_string(i) + " shown=true hiddenAfterHide=true");
  EXPECT_EQ(host.terminal, expected);
  EXPECT_EQ(logCountStartingWith("selftest cycle="), 5u);
  EXPECT_EQ(host.terminations, 1);
  EXPECT_EQ(subsystems.hud->states, Lines(5, "Listening…"));
}

TEST_F(AppDelegateTest, HudPreviewAnimatesForEightSecondsThenHidesAndQuits) {
  launch({"--hud-preview"});
  ASSERT_TRUE(subsystems.hud);
  EXPECT_TRUE(subsystems.hud->visible);
  env.queue.advance(7.9);
  EXPECT_EQ(host.terminations, 0);
  EXPECT_GT(subsystems.hud->frames, 200);
  EXPECT_EQ(subsystems.hud->bands, 28u);
  env.queue.advance(0.2);
  EXPECT_FALSE(subsystems.hud->visible);
  EXPECT_EQ(timelineFrom("hud hide"), (Lines{"hud hide", "terminate"}));
  EXPECT_EQ(env.queue.pendingCount(), 0u) << "no frame keeps running after the preview";
}

TEST_F(AppDelegateTest, SeveralEndingSwitchesAllActBeforeTheProcessEnds) {
  launch({"--write-icon", "/tmp/i", "--feedback-test", "--hud-selftest"});
  env.queue.advance(3);
  EXPECT_EQ(host.terminations, 0) << "the feedback reply is still out";
  subsystems.complete({true, "ID"});
  env.queue.runUntilIdle();
  EXPECT_EQ(host.terminations, 1);
  EXPECT_EQ(host.terminal.size(), 7u);
}

TEST_F(AppDelegateTest, TheRetryItemFollowsTheKeptRecording) {
  launch();
  auto retryItem = [&]() -> std::optional<MenuItem> {
    for (const auto &item : host.buildMenu())
      if (item.action == MenuAction::retryFailedDictation) return item;
    return std::nullopt;
  };
  EXPECT_FALSE(retryItem());
  controller().failedKept = true;
  auto item = retryItem();
  ASSERT_TRUE(item);
  host.menuHandler(*item);
  EXPECT_EQ(controller().retries, 1);
  EXPECT_EQ(host.terminations, 0);
}

TEST_F(AppDelegateTest, RetryFailedSwitchReportsTheRetryAndQuits) {
  struct Case {
    bool delivered;
    std::string detail, line;
  } cases[] = {{true, "Hello there.", "retry-failed ok: Hello there."},
               {false, "the local server is not running",
                "retry-failed failed: the local server is not running"}};
  for (const auto &c : cases) {
    FakeEnvironment caseEnv;
    Timeline t;
    RecordingHost h{t};
    RecordingSubsystems s{t};
    s.failedRecordingKept = true;
    AppDelegate d(h, s, instance, CommandLineOptions::parse({"selvar", "--retry-failed"}));
    d.applicationDidFinishLaunching();
    ASSERT_EQ(s.controller->retries, 1);
    EXPECT_EQ(h.terminations, 0);
    s.controller->retryDone(c.delivered, c.detail);
    EXPECT_EQ(h.terminal, Lines{c.line});
    EXPECT_EQ(h.terminations, 1);
  }
}

TEST_F(AppDelegateTest, RecentItemsPasteTheirFullTextAndTheTipFollowsTheTrigger) {
  launch();
  subsystems.menuState.recentTexts = {std::string(80, 'a')};
  auto menu = host.buildMenu();
  ASSERT_EQ(menu[1].kind, MenuItem::Kind::submenu);
  host.menuHandler(menu[1].items[0]);
  EXPECT_EQ(subsystems.inserted, Lines{std::string(80, 'a')});
  EXPECT_TRUE(controller().flashes.empty());
  subsystems.insertsCopyOnly = true;
  host.menuHandler(menu[1].items[0]);
  EXPECT_EQ(controller().flashes, Lines{"Copied \u2014 press Ctrl+V"});
  std::string before = host.toolTip;
  env.notifications.post(kTriggerChangedNotification);
  EXPECT_NE(host.toolTip, before);
}

} // namespace
} // namespace selvar
