// The desktop portal paths against a stand-in portal on a private bus: the shortcuts Selvar
// binds and how their activations drive dictation, the paste keystroke through the remote
// desktop, and what is left when the portal refuses, is missing or never answers.

#include "platform/linux/DesktopPortal.h"

#include "PrivatePortalBus.h"
#include "dictation/DictationRig.h"
#include "hotkeys/HotkeyHandler.h"
#include "platform/linux/CommandOnlyKeyboardTap.h"
#include "platform/linux/PortalKeySynthesizer.h"
#include "platform/linux/PortalShortcutsKeyboardTap.h"
#include "records/History.h"

#include <fstream>
#include <gtest/gtest.h>

namespace selvar::testing {
namespace {

using json = nlohmann::json;
using State = DictationController::State;

// Hands GDBus's queued deliveries (signals, replies) to their handlers.
void drain() {
  while (g_main_context_iteration(nullptr, FALSE)) {
  }
}

class PortalTest : public ::testing::Test {
protected:
  void SetUp() override {
    if (bus.problem().find("not installed") != std::string::npos) GTEST_SKIP() << bus.problem();
    ASSERT_EQ(bus.problem(), "");
  }
  // A fresh portal client, as a new start of Selvar would make, on the same connection.
  DesktopPortal &portal() {
    shortcuts.reset();
    keys.reset();
    client = std::make_unique<DesktopPortal>(bus.connection());
    return *client;
  }
  const std::string fallback = CommandOnlyKeyboardTap().sourceName();
  PrivatePortalBus bus;
  std::unique_ptr<DesktopPortal> client;
  std::unique_ptr<PortalShortcutsKeyboardTap> shortcuts;
  std::unique_ptr<PortalKeySynthesizer> keys;
};

class PortalShortcutsTest : public PortalTest {
protected:
  using Stage = PortalShortcutsKeyboardTap::Stage;
  // The shortcuts tap becomes the controller's trigger source and is waited on until the
  // portal has settled it.
  void installShortcuts(const json &config) {
    bus.configure(config);
    shortcuts = std::make_unique<PortalShortcutsKeyboardTap>(portal(), fallback);
    Services s = services();
    s.keyboardTap = shortcuts.get();
    installServices(s);
    rig->controller->hotkeys().ensureInstalled();
    PrivatePortalBus::pumpUntil([this] { return settled(); });
  }
  bool settled() const {
    return shortcuts->stage() == Stage::ready || shortcuts->stage() == Stage::failed;
  }
  // A shortcut signal from the portal, then the key handling it leads to.
  void shortcut(const char *signal, const char *id) {
    bus.emit(signal, id);
    drain();
    rig->env.queue.runUntilIdle();
  }
  void TearDown() override {
    if (rig) {
      // The controller goes before the tap it holds.
      rig.reset();
    }
  }
  std::unique_ptr<DictationRig> rig = std::make_unique<DictationRig>();
};

TEST_F(PortalShortcutsTest, BindsTheThreeShortcutsWithTriggersFromTheChosenKeys) {
  struct Case {
    const char *cancel, *paste;
    json triggers; // id -> preferred_trigger, null for none
  } cases[] = {
      {"escape",
       "controlCommandV",
       {{"trigger", nullptr}, {"cancel", nullptr}, {"paste-last", "CTRL+LOGO+v"}}},
      {"controlPeriod",
       "controlOptionV",
       {{"trigger", nullptr}, {"cancel", "CTRL+period"}, {"paste-last", "CTRL+ALT+v"}}},
      {"controlSlash",
       "disabled",
       {{"trigger", nullptr}, {"cancel", "CTRL+slash"}, {"paste-last", nullptr}}},
  };
  for (const auto &c : cases) {
    rig->env.settings.setValue(PrefKey::cancelKey, std::string(c.cancel));
    rig->env.settings.setValue(PrefKey::pasteShortcut, std::string(c.paste));
    installShortcuts(json::object());
    ASSERT_EQ(shortcuts->stage(), Stage::ready) << c.cancel;
    EXPECT_EQ(shortcuts->sourceName(), "desktop portal shortcuts");

    auto created = bus.callsTo("GlobalShortcuts.CreateSession");
    auto listed = bus.callsTo("GlobalShortcuts.ListShortcuts");
    auto bound = bus.callsTo("GlobalShortcuts.BindShortcuts");
    ASSERT_EQ(created.size(), 1u);
    ASSERT_EQ(listed.size(), 1u);
    ASSERT_EQ(bound.size(), 1u);
    const std::string session =
        client->sessionPath(created[0]["args"][0]["session_handle_token"].get<std::string>());
    EXPECT_EQ(listed[0]["args"][0], session);
    EXPECT_EQ(bound[0]["args"][0], session);
    json triggers = json::object();
    for (const auto &shortcut : bound[0]["args"][1]) {
      EXPECT_FALSE(shortcut[1]["description"].get<std::string>().empty());
      triggers[shortcut[0].get<std::string>()] =
          shortcut[1].contains("preferred_trigger") ? shortcut[1]["preferred_trigger"] : nullptr;
    }
    EXPECT_EQ(triggers, c.triggers) << c.cancel;
  }
}

TEST_F(PortalShortcutsTest, ShortcutsKeptFromAnEarlierRunAreNotAskedForAgain) {
  struct Case {
    json bound;
    bool asks;
  } cases[] = {
      {{{"trigger", "Ctrl+D"}, {"cancel", "Ctrl+."}, {"paste-last", "Ctrl+Super+V"}}, false},
      {{{"trigger", "Ctrl+D"}}, true}, // one is not enough: the rest is asked for
      {json::object(), true},
  };
  for (const auto &c : cases) {
    installShortcuts({{"bound", c.bound}});
    EXPECT_EQ(shortcuts->stage(), Stage::ready);
    EXPECT_EQ(bus.callsTo("GlobalShortcuts.BindShortcuts").size(), c.asks ? 1u : 0u)
        << c.bound.dump();
  }
  EXPECT_TRUE(logHas("portal shortcuts kept from an earlier run: cancel=Ctrl+. "
                     "paste-last=Ctrl+Super+V trigger=Ctrl+D"));
}

TEST_F(PortalShortcutsTest, ActivationsDictateInHoldModeAndPressInToggleMode) {
  installShortcuts(json::object());
  ASSERT_EQ(shortcuts->stage(), Stage::ready);

  rig->setMode(TriggerMode::hold);
  shortcut("Activated", "trigger");
  EXPECT_EQ(rig->state(), State::listening);
  EXPECT_TRUE(shortcuts->isKeyDown(kRightOption));
  rig->speak(5);
  rig->task().partial("hello there");
  shortcut("Deactivated", "trigger");
  EXPECT_EQ(rig->state(), State::transcribing);
  rig->task().final("hello there");
  rig->settle();
  EXPECT_EQ(rig->pasted(), "Hello there");
  EXPECT_TRUE(logHas("trigger up keycode=61 mode=hold"));

  shortcut("Activated", "paste-last");
  rig->settle();
  EXPECT_EQ(rig->pastes.size(), 2u);

  rig->setMode(TriggerMode::toggle);
  shortcut("Activated", "trigger");
  EXPECT_EQ(rig->state(), State::listening);
  shortcut("Deactivated", "trigger"); // a release: nothing in toggle mode
  EXPECT_EQ(rig->state(), State::listening);
  rig->speak(5);
  shortcut("Activated", "cancel");
  EXPECT_EQ(rig->pillState(), "Discard?");
  rig->env.queue.advance(0.2);
  shortcut("Activated", "cancel");
  EXPECT_TRUE(logHas("cancel key pressed twice: discarding the utterance"));
  rig->settle(12);
  EXPECT_EQ(rig->pastes.size(), 2u);
}

TEST_F(PortalShortcutsTest, ARefusingMissingOrSilentPortalLeavesTheControlCommand) {
  struct Case {
    json config;
    double wait; // seconds of main-queue time to let pass
    std::string logged;
  } cases[] = {
      {{{"refuse", {"GlobalShortcuts.BindShortcuts"}}},
       0,
       "GlobalShortcuts.BindShortcuts: the user said no"},
      {{{"missing", {"GlobalShortcuts"}}}, 0, "GlobalShortcuts.CreateSession: No such interface"},
      {{{"silent", {"GlobalShortcuts.CreateSession"}}},
       10,
       "GlobalShortcuts.CreateSession: no answer within 10 s"},
      {{{"silent", {"GlobalShortcuts.BindShortcuts"}}},
       120,
       "GlobalShortcuts.BindShortcuts: no answer within 120 s"},
  };
  for (const auto &c : cases) {
    bus.configure(c.config);
    shortcuts = std::make_unique<PortalShortcutsKeyboardTap>(portal(), fallback);
    shortcuts->install([](const KeyEvent &) { return false; });
    PrivatePortalBus::pumpUntil([&] {
      return shortcuts->stage() == Stage::failed ||
             !bus.callsTo(c.config.contains("silent") ? c.config["silent"][0].get<std::string>()
                                                      : "-")
                  .empty();
    });
    if (c.wait > 0) {
      drain();
      EXPECT_NE(shortcuts->stage(), Stage::failed) << c.logged;
      rig->env.queue.advance(c.wait);
    }
    EXPECT_EQ(shortcuts->stage(), Stage::failed) << c.logged;
    EXPECT_EQ(shortcuts->sourceName(), fallback);
    EXPECT_EQ(logCount("portal shortcuts: " + c.logged), 1u) << c.logged;
    EXPECT_NE(logMessages().back().find("; trigger source now: " + fallback), std::string::npos)
        << logMessages().back();
  }
}

class PortalKeystrokeTest : public PortalTest {
protected:
  using Stage = PortalKeySynthesizer::Stage;
  std::filesystem::path tokenFile() const {
    return env.files.dataRoot() / PortalKeySynthesizer::kTokenFileName;
  }
  void startKeys(const json &config) {
    bus.configure(config);
    keys = std::make_unique<PortalKeySynthesizer>(portal());
    keys->start(tokenFile());
    PrivatePortalBus::pumpUntil([this] { return keys->stage() != Stage::asking; });
  }
  std::string keptToken() const {
    std::ifstream in(tokenFile());
    std::string token;
    std::getline(in, token);
    return token;
  }
  FakeEnvironment env;
};

TEST_F(PortalKeystrokeTest, ThePasteIsCtrlVThroughTheRemoteDesktopKeyboard) {
  startKeys(json::object());
  ASSERT_EQ(keys->stage(), Stage::ready);
  EXPECT_TRUE(keys->canPostKeystrokes());
  auto selected = bus.callsTo("RemoteDesktop.SelectDevices");
  ASSERT_EQ(selected.size(), 1u);
  EXPECT_EQ(selected[0]["args"][1]["types"], 1);        // the keyboard only
  EXPECT_EQ(selected[0]["args"][1]["persist_mode"], 2); // until revoked

  EXPECT_TRUE(keys->postKeystroke(VirtualKey::v, ModifierFlag::command, 0.02));
  env.queue.advance(0.02);
  drain();
  json sent = json::array();
  for (const auto &call : bus.callsTo("RemoteDesktop.NotifyKeyboardKeycode")) {
    EXPECT_EQ(call["args"][0], selected[0]["args"][0]); // the granted session
    sent.push_back({call["args"][2], call["args"][3]});
  }
  // Left Ctrl and V down, then up in reverse, as evdev key codes.
  EXPECT_EQ(sent, json::parse("[[29,1],[47,1],[47,0],[29,0]]"));
}

TEST_F(PortalKeystrokeTest, AKeptRestoreTokenIsSentBackAndTheNewOneKept) {
  struct Case {
    std::optional<std::string> stored;
    json sent; // the restore_token SelectDevices carried, null for none
  } cases[] = {
      {std::nullopt, nullptr},
      {"kept-from-last-start", "kept-from-last-start"},
      {"two words", nullptr}, // not a token: ignored, logged, and the user is asked again
  };
  for (const auto &c : cases) {
    std::filesystem::remove(tokenFile());
    if (c.stored) {
      std::filesystem::create_directories(tokenFile().parent_path());
      std::ofstream(tokenFile()) << *c.stored << "\n";
    }
    startKeys(json::object());
    ASSERT_EQ(keys->stage(), Stage::ready);
    auto options = bus.callsTo("RemoteDesktop.SelectDevices").at(0)["args"][1];
    EXPECT_EQ(options.contains("restore_token") ? options["restore_token"] : json(), c.sent);
    EXPECT_TRUE(keptToken().starts_with("stand-in-token-")) << keptToken();
    EXPECT_EQ(std::filesystem::status(tokenFile()).permissions() & std::filesystem::perms::all,
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  }
  EXPECT_EQ(logCount("ignoring an unreadable restore token"), 1u);
}

TEST_F(PortalKeystrokeTest, ARefusingMissingOrSilentPortalLeavesCopyOnly) {
  struct Case {
    json config;
    double wait;
    std::string logged;
  } cases[] = {
      {{{"refuse", {"RemoteDesktop.Start"}}}, 0, "RemoteDesktop.Start: the user said no"},
      {{{"missing", {"RemoteDesktop"}}}, 0, "RemoteDesktop.CreateSession: No such interface"},
      {{{"silent", {"RemoteDesktop.CreateSession"}}},
       10,
       "RemoteDesktop.CreateSession: no answer within 10 s"},
      {{{"silent", {"RemoteDesktop.Start"}}}, 120, "RemoteDesktop.Start: no answer within 120 s"},
  };
  for (const auto &c : cases) {
    bus.configure(c.config);
    keys = std::make_unique<PortalKeySynthesizer>(portal());
    keys->start(tokenFile());
    PrivatePortalBus::pumpUntil([&] {
      return keys->stage() == Stage::unavailable ||
             !bus.callsTo(c.config.contains("silent") ? c.config["silent"][0].get<std::string>()
                                                      : "-")
                  .empty();
    });
    if (c.wait > 0) {
      drain();
      EXPECT_FALSE(keys->canPostKeystrokes()); // not yet granted: nothing can be typed
      EXPECT_EQ(keys->stage(), Stage::asking) << c.logged;
      env.queue.advance(c.wait);
    }
    EXPECT_EQ(keys->stage(), Stage::unavailable) << c.logged;
    EXPECT_FALSE(keys->canPostKeystrokes());
    EXPECT_FALSE(keys->postKeystroke(VirtualKey::v, ModifierFlag::command, 0.02));
    EXPECT_EQ(logCount("remote desktop: " + c.logged), 1u) << c.logged;
    EXPECT_TRUE(logMessages().back().ends_with("; dictated text is copied for Ctrl+V"))
        << logMessages().back();
  }
  EXPECT_TRUE(bus.callsTo("RemoteDesktop.NotifyKeyboardKeycode").empty());
}

} // namespace
} // namespace selvar::testing
