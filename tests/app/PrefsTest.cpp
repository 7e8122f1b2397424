#include "app/Prefs.h"

#include "platform/fake/FakeEnvironment.h"

#include <gtest/gtest.h>

namespace selvar {
namespace {

class PrefsTest : public ::testing::Test {
protected:
  FakeEnvironment env;
};

TEST_F(PrefsTest, MissingWrongTypedOrUnknownValuesReadAsDefaults) {
  EXPECT_EQ(Prefs::triggerMode(), TriggerMode::toggle);
  env.settings.setValue(PrefKey::triggerMode, std::string("Hold"));
  EXPECT_EQ(Prefs::triggerMode(), TriggerMode::toggle);
  env.settings.setValue(PrefKey::triggerMode, std::string("hold"));
  EXPECT_EQ(Prefs::triggerMode(), TriggerMode::hold);
  env.settings.setValue(PrefKey::autoStopMinutes, std::string("5"));
  EXPECT_EQ(Prefs::autoStopMinutes(), 0);
  env.settings.setValue(PrefKey::restoreClipboard, std::int64_t{0});
  EXPECT_TRUE(Prefs::restoreClipboard());
  EXPECT_EQ(Prefs::rewriteBudgetMS(), 400);
  EXPECT_EQ(env.settings.writeCount(), 4u); // reads never write back
}

TEST_F(PrefsTest, PillOutlineParsing) {
  struct Case {
    const char *stored;
    PillOutline::Kind kind;
  } cases[] = {{"#ff00aa", PillOutline::Kind::custom}, {"ff00aa", PillOutline::Kind::tint},
               {"#f0a", PillOutline::Kind::custom},    {"#ff00zz", PillOutline::Kind::tint},
               {"none", PillOutline::Kind::none},      {"black", PillOutline::Kind::black},
               {"Black", PillOutline::Kind::tint}};
  for (const auto &c : cases) {
    env.settings.setValue(PrefKey::pillOutline, std::string(c.stored));
    EXPECT_EQ(Prefs::pillOutline().kind, c.kind) << c.stored;
  }
  env.settings.setValue(PrefKey::pillOutline, std::string("#ff00aa"));
  EXPECT_EQ(Prefs::pillOutline().hex, "#ff00aa");
}

TEST_F(PrefsTest, HudOriginNeedsExactlyTwoNumbers) {
  EXPECT_EQ(parseOrigin("12.5,300"), (Point{12.5, 300}));
  EXPECT_EQ(parseOrigin("-40,2e2"), (Point{-40, 200}));
  for (const char *bad : {"12.5", "a,b", "1,2,3", "", ",", "1,", "nan,1"})
    EXPECT_FALSE(parseOrigin(bad)) << bad;
  Prefs::setHudOrigin(Point{610, 220.5});
  EXPECT_EQ(Prefs::hudOrigin(), (Point{610, 220.5}));
}

TEST_F(PrefsTest, AppearanceWritesPostTriggerChangedOnce) {
  int posts = 0;
  env.notifications.observe(kTriggerChangedNotification, [&] { ++posts; });
  Prefs::setTheme(Palette::midnight);
  EXPECT_EQ(posts, 1);
  EXPECT_EQ(Prefs::theme(), Palette::midnight);
  Prefs::setHudStyle(HUDPreference::mini);
  Prefs::setHudMaterial(HUDMaterial::glass);
  Prefs::setPillOutline({PillOutline::Kind::black, {}});
  EXPECT_EQ(posts, 4);
  Prefs::setWindowTextSize(WindowTextSize::large);
  Prefs::setLaunchAtLogin(true);
  EXPECT_EQ(posts, 4);
  EXPECT_DOUBLE_EQ(textScale(Prefs::windowTextSize()), 1.36);
}

} // namespace
} // namespace selvar
