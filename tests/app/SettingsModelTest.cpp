#include "app/SettingsModel.h"

#include "app/Prefs.h"
#include "hotkeys/KeyChoices.h"
#include "platform/LoginItemService.h"
#include "platform/ShellServices.h"
#include "platform/fake/FakeEnvironment.h"
#include "support/ShellFakes.h"
#include "support/Unicode.h"

#include <gtest/gtest.h>

namespace selvar {
namespace {

class SettingsModelTest : public ::testing::Test {
protected:
  void SetUp() override {
    services().workspace = &workspace;
    services().permissions = &access;
  }
  void TearDown() override { setPlatformCapabilities({}); }
  const SettingControl *control(const std::string &key) {
    shown = model.sections();
    for (const auto &section : shown)
      for (const auto &c : section.controls)
        if (c.key == key) return &c;
    return nullptr;
  }

  FakeEnvironment env;
  shelltest::ScriptedWorkspace workspace;
  shelltest::ScriptedPermissions access;
  SettingsModel model;
  std::vector<SettingsSection> shown;
};

TEST_F(SettingsModelTest, ExtraSectionsShowOnlyWhenExpanded) {
  EXPECT_FALSE(control(PrefKey::rewriteBudgetMS));
  ASSERT_TRUE(control(PrefKey::stripFillers));
  model.setExpanded(true);
  ASSERT_TRUE(control(PrefKey::rewriteBudgetMS));
  EXPECT_EQ(control(PrefKey::rewriteBudgetMS)->number, 400);
  EXPECT_EQ(control(PrefKey::recognitionLanguage)->text, "");
}

TEST_F(SettingsModelTest, ControlsShowTheStoredValuesAndTheConflictWarning) {
  env.settings.setValue(PrefKey::trigger, std::string("fnGlobe"));
  env.settings.setValue(PrefKey::pillOutline, std::string("#ff00aa"));
  workspace.running.push_back({7, "ai.wispr.WisprFlow", "Wispr Flow"});
  const SettingControl *trigger = control(PrefKey::trigger);
  ASSERT_TRUE(trigger);
  EXPECT_EQ(trigger->selected, "fnGlobe");
  EXPECT_EQ(trigger->options.size(), 4u);
  EXPECT_EQ(trigger->warning.rfind("Wispr Flow is running", 0), 0u) << trigger->warning;
  const SettingControl *outline = control(PrefKey::pillOutline);
  EXPECT_EQ(outline->selected, "#ff00aa");
  EXPECT_EQ(outline->options.back().value, "#ff00aa") << "the custom colour stays choosable";
}

TEST_F(SettingsModelTest, FnIsOfferedOnlyWhereTheKeyboardHasOne) {
  setPlatformCapabilities({false, false, "Linux", false});
  auto values = [this] {
    std::vector<std::string> out;
    for (const auto &o : control(PrefKey::trigger)->options)
      out.push_back(o.value);
    return out;
  };
  EXPECT_EQ(values(), (std::vector<std::string>{"rightOption", "rightCommand", "rightControl"}));
  model.setChoice(PrefKey::trigger, "fnGlobe");
  EXPECT_EQ(TriggerStore::current(), Trigger::rightOption) << "not choosable here";
  env.settings.setValue(PrefKey::trigger, std::string("fnGlobe")); // stored elsewhere
  EXPECT_EQ(values().back(), "fnGlobe") << "a stored choice still shows";
}

TEST_F(SettingsModelTest, EditsAreValidatedAndHaveTheirUsualEffects) {
  int posts = 0;
  env.notifications.observe(kTriggerChangedNotification, [&posts] { ++posts; });
  struct Case {
    const char *key, *value;
    bool stored;
    int posts;
  } cases[] = {
      {PrefKey::theme, "midnight", true, 1},
      {PrefKey::theme, "Midnight", false, 0},
      {PrefKey::triggerMode, "hold", true, 1},
      {PrefKey::insertMode, "copyOnly", true, 0},
      {PrefKey::trigger, "rightCommand", true, 1},
      {PrefKey::pillOutline, "#12ab", false, 0},
      {PrefKey::pillOutline, "#12abef", true, 1},
      {PrefKey::windowStyle, "glass", true, 0},
      {PrefKey::stripFillers, "true", false, 0},
      {PrefKey::pasteShortcut, "disabled", true, 1}, // the menu's chord follows
  };
  for (const auto &c : cases) {
    posts = 0;
    model.setChoice(c.key, c.value);
    EXPECT_EQ(env.settings.stringValue(c.key) == std::string(c.value), c.stored) << c.key;
    EXPECT_EQ(posts, c.posts) << c.key << " " << c.value;
  }
  model.setNumber(PrefKey::autoStopMinutes, 9000);
  EXPECT_EQ(Prefs::autoStopMinutes(), 120);
  model.setNumber(PrefKey::rewriteBudgetMS, -5);
  EXPECT_EQ(Prefs::rewriteBudgetMS(), 100);
  model.setText(PrefKey::recognitionLanguage, " de-CH ");
  EXPECT_EQ(Prefs::recognitionLanguage(), "de-CH");
  model.setText(PrefKey::recognitionLanguage, "  ");
  EXPECT_FALSE(env.settings.value(PrefKey::recognitionLanguage)) << "empty follows the system";
}

// The settings window must say so before dictated text goes to another machine.
TEST_F(SettingsModelTest, RewriteServerAddressWarnsWhenTextWouldLeaveTheMachine) {
  model.setExpanded(true);
  struct Case {
    const char *address;
    bool allowRemote;
    const char *warning; // the start of it; empty: none
  } cases[] = {
      {"", false, ""},
      {" http://127.0.0.1:11434/v1 ", false, ""},
      {"http://10.0.0.7:8021", false, "10.0.0.7 is another machine: allow that below"},
      {"http://10.0.0.7:8021", true, "Dictated text leaves this machine for 10.0.0.7."},
      {"127.0.0.1:8021", false, "Not a server address"},
  };
  for (const auto &c : cases) {
    model.setText(PrefKey::rewriteBaseURL, c.address);
    model.setToggle(PrefKey::rewriteAllowRemote, c.allowRemote);
    const SettingControl *address = control(PrefKey::rewriteBaseURL);
    ASSERT_TRUE(address);
    EXPECT_EQ(address->text, trimWhitespace(c.address));
    EXPECT_TRUE(address->warning.starts_with(c.warning)) << c.address << ": " << address->warning;
    EXPECT_EQ(address->warning.empty(), std::string(c.warning).empty()) << c.address;
  }
  model.setText(PrefKey::rewriteModel, " llama3.2:1b ");
  EXPECT_EQ(Prefs::rewriteModel(), "llama3.2:1b");
  setPlatformCapabilities({false, false, "Linux", false, true, "tools/rewrite-server.sh"});
  EXPECT_TRUE(control(PrefKey::rewriteBaseURL)->help.ends_with("tools/rewrite-server.sh"));
}

TEST_F(SettingsModelTest, PickingAnEngineIsTheUsersChoiceButOnlyOneThatRunsHere) {
  setPlatformCapabilities({false, false});
  model.chooseDictationEngine("apple-on-device");
  EXPECT_FALSE(Prefs::dictationEngineChosen());
  model.chooseDictationEngine("server-transcription");
  EXPECT_TRUE(Prefs::dictationEngineChosen());
  EXPECT_EQ(Prefs::dictationEngine(), "server-transcription");
  model.chooseRewriteEngine("apple-foundation-models");
  EXPECT_EQ(Prefs::rewriteEngine(), "rules-only");

  using Phase = EngineInstallState::Phase;
  auto server = [&] { return model.dictationEngines().at(1); };
  EXPECT_FALSE(server().canInstall) << "unknown until the server answers";
  model.setInstallState("server-transcription", {Phase::downloading, 1, 4, ""});
  EXPECT_FALSE(server().canInstall);
  EXPECT_EQ(server().install.fraction(), 0.25);
  model.setInstallState("server-transcription", {Phase::failed, 0, 0, "disk full"});
  EXPECT_TRUE(server().canInstall);
  EXPECT_TRUE(server().selected);
  EXPECT_FALSE(model.dictationEngines().at(0).canInstall);
}

TEST_F(SettingsModelTest, OpeningTheDictionaryCreatesTheStarterFileFirst) {
  model.openDictionary();
  ASSERT_EQ(workspace.openedURLs.size(), 1u);
  EXPECT_EQ(workspace.openedURLs[0].rfind("file:///", 0), 0u);
  EXPECT_TRUE(std::filesystem::exists(env.files.dataRoot() / "dictionary.json"));
  model.openPermissionPane(PermissionPane::microphone);
  EXPECT_EQ(workspace.openedURLs[1].substr(workspace.openedURLs[1].rfind('?')),
            "?Privacy_Microphone");
}

struct CountingLoginItem : LoginItemService {
  bool enabled = false;
  bool isEnabled() const override { return enabled; }
  std::optional<std::string> registerItem() override { return enabled = true, std::nullopt; }
  std::optional<std::string> unregisterItem() override { return enabled = false, std::nullopt; }
};

TEST_F(SettingsModelTest, TheLoginToggleRegistersAtOnce) {
  CountingLoginItem item;
  installShellServices({&item, nullptr});
  model.setToggle(PrefKey::launchAtLogin, true);
  EXPECT_TRUE(item.enabled);
  EXPECT_TRUE(Prefs::launchAtLogin());
  model.setToggle("noSuchKey", true);
  EXPECT_FALSE(env.settings.value("noSuchKey"));
  installShellServices({});
}

} // namespace
} // namespace selvar
