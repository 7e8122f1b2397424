#include "hud/HUD.h"

#include "hud/HudPlacement.h"
#include "platform/fake/FakeEnvironment.h"
#include "platform/fake/FakeHudPanel.h"
#include "records/Log.h"

#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sstream>

namespace selvar {
namespace {

const Rect kMain{{0, 80}, {1440, 795}};
const Rect kRight{{1440, 0}, {1920, 1080}};

struct Record {
  std::string name;
  nlohmann::json fields;
};

class HUDTest : public ::testing::Test {
protected:
  HUDTest() {
    screens.frames = {kMain};
    screens.main = kMain;
  }

  HUD &hud() {
    if (!hud_) {
      HUD::Hooks hooks;
      hooks.event = [this](const std::string &name, const nlohmann::json &fields) {
        records.push_back({name, fields});
      };
      hud_ = std::make_unique<HUD>(panel, screens, std::move(hooks));
    }
    return *hud_;
  }

  std::string logText() {
    Log::flush();
    std::ifstream in(Log::directory() / "selvar.log");
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
  }

  Point origin() const { return panel.frame().origin; }

  FakeEnvironment env;
  FakeHudPanel panel;
  FakeScreens screens;
  std::vector<Record> records;
  std::unique_ptr<HUD> hud_;
};

TEST_F(HUDTest, FirstShowCentresAboveTheDockAndRecordsIt) {
  hud().show("Listening…");
  EXPECT_TRUE(panel.isVisible());
  EXPECT_EQ(panel.frame(), (Rect{{610, 220}, {220, 48}}));
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].name, "hud.show");
  EXPECT_EQ(records[0].fields, (nlohmann::json{{"state", "Listening…"}, {"w", 220}, {"h", 48}}));
  EXPECT_NE(logText().find("Z hud shown at 610,220 size=220x48\n"), std::string::npos);
  EXPECT_FALSE(Prefs::hudOrigin()); // placing is not the user moving it
}

TEST_F(HUDTest, StoredOriginsAreHonouredOnlyNearAnAttachedScreen) {
  struct Case {
    const char *name;
    const char *stored;
    Point expected;
  } cases[] = {
      {"inside", "300,400", {300, 400}},
      {"on the second screen", "2000,500", {2000, 500}},
      {"fractional", "300.75,400.25", {300.75, 400.25}},
      {"30 pt into the next screen", "1470,400", {1440 - 220 - 8, 400}}, // first match wins
      {"below the usable area", "100,60", {100, 88}},
      {"50 pt above the top edge", "400,925", {610, 220}},
      {"disconnected monitor", "-1500,300", {610, 220}},
      {"unreadable", "here", {610, 220}},
  };
  screens.frames = {kMain, kRight};
  for (const auto &c : cases) {
    env.settings.setValue(PrefKey::hudOrigin, std::string(c.stored));
    hud().show("Listening…");
    EXPECT_EQ(origin(), c.expected) << c.name;
    hud().hide();
  }
}

TEST_F(HUDTest, HeadlessLeavesThePanelWhereItIs) {
  screens.frames.clear();
  screens.main.reset();
  hud();
  panel.setOrigin({42, 43});
  hud().show("Listening…");
  EXPECT_EQ(origin(), (Point{42, 43}));
  EXPECT_TRUE(panel.isVisible());
}

TEST_F(HUDTest, DraggedOriginIsRememberedAndUsedNextTime) {
  hud().show("Listening…");
  // The pointer is followed from where the drag began, not from event to event.
  panel.drag({700, 240}, {{720, 250}, {760, 270}, {800.5, 300.25}});
  EXPECT_EQ(origin(), (Point{710.5, 280.25}));
  EXPECT_EQ(env.settings.stringValue(PrefKey::hudOrigin), "710.5,280.25");
  EXPECT_NE(logText().find("hud moved to 710,280\n"), std::string::npos);

  hud().hide();
  panel.setOrigin({5, 5}); // the window system moving a hidden panel is not the user
  EXPECT_EQ(Prefs::hudOrigin(), (Point{710.5, 280.25}));
  hud().show("Transcribing…");
  EXPECT_EQ(origin(), (Point{710.5, 280.25}));
}

// Every motion event moves the pill and is logged; the preferences file is written once.
TEST_F(HUDTest, MovesAreWrittenOnceTheySettle) {
  hud().show("Listening…");
  const std::size_t before = env.settings.writeCount();
  panel.drag({700, 240}, {{720, 250}, {760, 270}, {800.5, 300.25}});
  EXPECT_EQ(env.settings.writeCount(), before + 1);
  EXPECT_NE(logText().find("hud moved to 630,230\n"), std::string::npos);
  EXPECT_NE(logText().find("hud moved to 710,280\n"), std::string::npos);

  // Moves without a drag (the window manager, the keyboard) settle on the clock.
  panel.setOrigin({100, 100});
  panel.setOrigin({110, 100});
  env.queue.advance(0.4);
  panel.setOrigin({120, 100});
  env.queue.advance(0.4);
  EXPECT_EQ(env.settings.writeCount(), before + 1);
  env.queue.advance(0.2);
  EXPECT_EQ(env.settings.writeCount(), before + 2);
  EXPECT_EQ(Prefs::hudOrigin(), (Point{120, 100}));

  // Showing again goes back to the latest place even before it settled.
  panel.setOrigin({130, 100});
  hud().show("Transcribing…");
  EXPECT_EQ(origin(), (Point{130, 100}));
  EXPECT_EQ(Prefs::hudOrigin(), (Point{130, 100}));
}

TEST_F(HUDTest, ContentSizeDrivesTheFrameAndKeepsItOnScreen) {
  panel.contentSize = {0, 0}; // nothing laid out yet: keep the initial frame
  hud().show("Listening…");
  EXPECT_EQ(panel.frame().size, (Size{300, 60}));
  EXPECT_EQ(panel.cornerRadius, 17);

  panel.contentSize = {220.2, 47.6};
  hud().show("Listening…");
  EXPECT_EQ(panel.frame().size, (Size{221, 48}));
  EXPECT_EQ(panel.cornerRadius, 16);

  // Growing against the right edge pulls the pill back inside, and that becomes its place.
  panel.drag({700, 240}, {{1400, 240}});
  EXPECT_EQ(origin().x, 609.5 + 700); // a drag may hang over the edge
  panel.contentSize = {400, 48};
  hud().show("Transcribing a long answer…");
  EXPECT_EQ(panel.frame(), (Rect{{1440 - 400 - 8, 220}, {400, 48}}));
  EXPECT_EQ(Prefs::hudOrigin(), (Point{1440 - 400 - 8, 220}));
}

TEST_F(HUDTest, StyleChangesRefitAndAreLogged) {
  hud().show("Listening…");
  panel.contentSize = {150, 40};
  Prefs::setHudStyle(HUDPreference::mini);
  EXPECT_EQ(hud().model().style(), HUDPreference::mini);
  EXPECT_EQ(panel.cornerRadius, 12);
  EXPECT_EQ(panel.frame().size, (Size{150, 40}));
  Prefs::setHudMaterial(HUDMaterial::glass);
  EXPECT_EQ(hud().model().material(), HUDMaterial::glass);
  EXPECT_EQ(panel.backdrop, HUDMaterial::glass);
  const auto log = logText();
  EXPECT_NE(log.find("pill style refreshed: mini/neon\n"), std::string::npos);
  EXPECT_NE(log.find("pill style refreshed: mini/glass\n"), std::string::npos);
}

TEST_F(HUDTest, HideRecordsAndReturnsTheModelToSilence) {
  hud().show("Send this?", "Press return to send");
  EXPECT_EQ(hud().model().question(), "Press return to send");
  std::vector<float> loud(28, 0.9f);
  hud().updateSpectrum(loud);
  hud().updateSpectrum(std::vector<float>(27, 0.9f)); // a malformed frame is dropped
  EXPECT_GT(hud().model().bands()[0], 0);
  hud().hide();
  EXPECT_FALSE(panel.isVisible());
  EXPECT_FALSE(hud().model().question());
  EXPECT_EQ(hud().model().bands(), HUDModel::Bands{});
  EXPECT_EQ(hud().model().lastPush(), 0);
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[1].name, "hud.hide");
  EXPECT_EQ(records[1].fields, nlohmann::json::object());
}

// The panel outlives the HUD (it belongs to the platform); it must not keep drawing a model
// that is gone.
TEST_F(HUDTest, ThePanelLetsGoOfTheModelWhenTheHUDGoes) {
  hud().show("Listening");
  EXPECT_EQ(panel.hosted, &hud().model());
  hud_.reset();
  EXPECT_EQ(panel.hosted, nullptr);
  EXPECT_FALSE(panel.events.mouseDown);
}

TEST(HudPlacement, APanelWiderThanTheRoomKeepsItsRightAndTopEdgesInside) {
  const Rect small{{0, 0}, {200, 100}};
  EXPECT_EQ(HudPlacement::clampOrigin({50, 50}, {220, 48}, small), (Point{200 - 220 - 8, 44}));
  EXPECT_EQ(HudPlacement::clampOrigin({50, 50}, {100, 120}, small), (Point{50, 100 - 120 - 8}));
}

} // namespace
} // namespace selvar
