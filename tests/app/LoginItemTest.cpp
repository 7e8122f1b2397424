#include "app/LoginItem.h"

#include "app/AppFocus.h"
#include "app/Prefs.h"
#include "insertion/PreviousApplication.h"
#include "platform/LoginItemService.h"
#include "platform/ShellServices.h"
#include "platform/fake/FakeEnvironment.h"
#include "platform/linux/XdgAutostartLoginItem.h"
#include "support/LogLines.h"
#include "support/ShellFakes.h"

#include <fstream>
#include <gtest/gtest.h>

namespace selvar {
namespace {

using shelltest::logMessages;

struct SwitchableLoginItem : LoginItemService {
  bool enabled = false;
  std::optional<std::string> failure;
  int calls = 0;
  bool isEnabled() const override { return enabled; }
  std::optional<std::string> registerItem() override { return change(true); }
  std::optional<std::string> unregisterItem() override { return change(false); }
  std::optional<std::string> change(bool on) {
    ++calls;
    if (!failure) enabled = on;
    return failure;
  }
};

class LoginItemTest : public ::testing::Test {
protected:
  void SetUp() override { installShellServices({&service, nullptr}); }
  void TearDown() override { installShellServices({}); }
  FakeEnvironment env;
  SwitchableLoginItem service;
};

TEST_F(LoginItemTest, LaunchBringsTheRegistrationInLineWithThePreference) {
  service.enabled = true;
  Prefs::setLaunchAtLogin(false);
  LoginItem::enforcePreference();
  EXPECT_FALSE(service.enabled);
  LoginItem::enforcePreference();
  EXPECT_EQ(service.calls, 1) << "nothing to do once they agree";
  EXPECT_EQ(logMessages(), std::vector<std::string>{"login item enforced to false"});
}

TEST_F(LoginItemTest, FailuresAreLoggedAndTheResultIsTheRealState) {
  service.failure = "permission denied";
  EXPECT_FALSE(LoginItem::set(true));
  EXPECT_EQ(logMessages(),
            std::vector<std::string>{"login item register failed: permission denied"});
  service.failure.reset();
  EXPECT_TRUE(LoginItem::set(true));
  EXPECT_TRUE(LoginItem::set(true));
  EXPECT_EQ(service.calls, 2);
}

TEST_F(LoginItemTest, AutostartEntryIsWrittenRemovedAndRespectsDesktopDisabling) {
  XdgAutostartLoginItem item(env.root() / "autostart", "/opt/Selvar Apps/bin/selvar");
  EXPECT_FALSE(item.isEnabled());
  EXPECT_FALSE(item.registerItem());
  EXPECT_TRUE(item.isEnabled());
  std::ifstream in(item.entryPath());
  std::string text((std::istreambuf_iterator<char>(in)), {});
  EXPECT_NE(text.find("Exec=\"/opt/Selvar Apps/bin/selvar\"\n"), std::string::npos) << text;
  std::ofstream(item.entryPath(), std::ios::app) << "Hidden=true\n";
  EXPECT_FALSE(item.isEnabled());
  EXPECT_FALSE(item.unregisterItem());
  EXPECT_FALSE(std::filesystem::exists(item.entryPath()));
}

TEST_F(LoginItemTest, ExecValuesAreQuotedAsDesktopEntriesRequire) {
  EXPECT_EQ(XdgAutostartLoginItem::execValue("/usr/bin/selvar"), "/usr/bin/selvar");
  EXPECT_EQ(XdgAutostartLoginItem::execValue("/home/a$b/100%/selvar"),
            "\"/home/a\\\\$b/100%%/selvar\"");
}

TEST(AppFocusTest, OnlyOtherApplicationsAreRemembered) {
  FakeEnvironment env;
  shelltest::ScriptedWorkspace workspace;
  services().workspace = &workspace;
  RunningApp self{workspace.ownPid, workspace.ownBundle, "Selvar"};
  RunningApp editor{10, "org.gnome.TextEditor", "Text Editor"};
  RunningApp terminal{11, "kitty", "kitty"};
  workspace.frontmost = self;
  AppFocus::start();
  EXPECT_FALSE(AppFocus::lastExternalApplication());
  workspace.activateApp(editor);
  workspace.activateApp(self);
  EXPECT_EQ(AppFocus::lastExternalApplication(), editor);
  workspace.activateApp(terminal);
  EXPECT_EQ(AppFocus::lastExternalApplication(), terminal);
  EXPECT_EQ(PreviousApplication::current(), terminal) << "the inserter sees the same app";
  AppFocus::stop();
  EXPECT_EQ(workspace.observerCount(), 0u);
}

} // namespace
} // namespace selvar
