#include "permissions/Permissions.h"

#include "platform/fake/FakeEnvironment.h"
#include "support/LogLines.h"
#include "support/ShellFakes.h"

#include <gtest/gtest.h>

namespace selvar {
namespace {

using shelltest::logHas;
using shelltest::logMessages;

class PermissionsTest : public ::testing::Test {
protected:
  void SetUp() override {
    services().workspace = &workspace;
    services().permissions = &access;
    Permissions::installToolRunner([this](const std::string &exe, const auto &args) {
      runs.push_back(exe + " " + args.at(0) + " " + args.at(1) + " " + args.at(2));
      return exitFor(args.at(1));
    });
  }
  void TearDown() override { Permissions::installToolRunner(nullptr); }
  void launchSignedWith(std::optional<std::string> requirement) {
    access.requirement = std::move(requirement);
    healed = Permissions::healStaleGrants();
  }

  FakeEnvironment env;
  shelltest::ScriptedWorkspace workspace;
  shelltest::ScriptedPermissions access;
  std::function<ToolExit(const std::string &)> exitFor = [](auto &) { return ToolExit{0, ""}; };
  std::vector<std::string> runs;
  bool healed = false;
};

TEST_F(PermissionsTest, HealsOnlyWhenTheSignatureChanges) {
  launchSignedWith("identifier A");
  EXPECT_FALSE(healed) << "a first launch never resets";
  EXPECT_EQ(env.settings.stringValue("signingRequirement"), "identifier A");
  launchSignedWith("identifier A");
  EXPECT_FALSE(healed);
  EXPECT_TRUE(runs.empty());

  launchSignedWith("identifier B");
  EXPECT_TRUE(healed);
  EXPECT_EQ(env.settings.stringValue("signingRequirement"), "identifier B");
  EXPECT_TRUE(logHas("signing identity changed; clearing privacy grants made against the old one"));
  ASSERT_EQ(runs.size(), Permissions::grantServices().size());
  EXPECT_EQ(runs[1], "/usr/bin/tccutil reset SpeechRecognition app.selvar.Selvar");
}

TEST_F(PermissionsTest, AnUnsignedBuildChangesNothing) {
  env.settings.setValue("signingRequirement", std::string("identifier A"));
  launchSignedWith(std::nullopt);
  EXPECT_FALSE(healed);
  EXPECT_EQ(env.settings.stringValue("signingRequirement"), "identifier A");
  EXPECT_TRUE(runs.empty());
}

TEST_F(PermissionsTest, FailingToolIsLoggedPerServiceAndHealingStillReportsTrue) {
  exitFor = [](const std::string &service) {
    if (service == "Microphone") return ToolExit{std::nullopt, "No such file or directory"};
    return ToolExit{service == "Accessibility" ? 70 : 0, ""};
  };
  launchSignedWith("old");
  launchSignedWith("new");
  EXPECT_TRUE(healed);
  EXPECT_EQ(runs.size(), Permissions::grantServices().size()) << "failures do not stop the loop";
  EXPECT_TRUE(logHas("tccutil reset Microphone could not run: No such file or directory"));
  EXPECT_TRUE(logHas("tccutil reset Accessibility failed status=70"));
  EXPECT_EQ(logMessages().size(), 3u);
}

TEST_F(PermissionsTest, WithoutAToolRunnerNothingRuns) {
  Permissions::installToolRunner(nullptr);
  Permissions::resetAll();
  EXPECT_TRUE(logMessages().empty());
}

TEST_F(PermissionsTest, PanesLinkToTheirPrivacySection) {
  EXPECT_EQ(url(PermissionPane::accessibility),
            "x-apple.systempreferences:com.apple.preference.security?Privacy_Accessibility");
  EXPECT_EQ(url(PermissionPane::speechRecognition)
                .substr(url(PermissionPane::speechRecognition).rfind('?')),
            "?Privacy_SpeechRecognition");
  access.trusted = false;
  auto rows = Permissions::rows(false);
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[1], (PermissionRow{"Accessibility", PermissionState::denied,
                                    PermissionPane::accessibility}));
}

} // namespace
} // namespace selvar
