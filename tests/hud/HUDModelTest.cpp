#include "hud/HUDModel.h"

#include "hud/SyntheticSpectrum.h"
#include "platform/fake/FakeEnvironment.h"

#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <numbers>
#include <vector>

namespace selvar {
namespace {

using Field = HUDModel::Field;

std::vector<double> flat(double level, std::size_t count = 28) {
  return std::vector<double>(count, level);
}

class HUDModelTest : public ::testing::Test {
protected:
  FakeEnvironment env;
  HUDModel model;
};

TEST_F(HUDModelTest, WrongSizedFramesAreIgnoredEntirely) {
  model.push(flat(0.5));
  const auto bands = model.bands();
  const double stamp = model.lastPush();
  int changes = 0;
  model.subscribe([&](Field) { ++changes; });
  env.queue.advance(0.02);
  for (std::size_t count : {0, 1, 27, 29})
    model.push(flat(1.0, count));
  EXPECT_EQ(model.bands(), bands);
  EXPECT_EQ(model.lastPush(), stamp);
  EXPECT_EQ(changes, 0);
}

TEST_F(HUDModelTest, FirstPushAfterResetIsOneSixtiethOfASecond) {
  for (int round = 0; round < 2; ++round) {
    model.push(flat(1.0));
    for (std::size_t i = 0; i < 28; ++i) {
      EXPECT_NEAR(model.targets()[i], 0.85, 1e-12);
      EXPECT_NEAR(model.velocity()[i], 0.85 * 560 / 60, 1e-9); // ≈ 7.93
      EXPECT_NEAR(model.bands()[i], 0.85 * 560 / 3600, 1e-9);  // ≈ 0.132
    }
    // However long ago the last utterance was, the next one starts from the first frame.
    for (int i = 0; i < 10; ++i) {
      env.queue.advance(0.5);
      model.push(flat(0.3));
    }
    model.reset();
    EXPECT_EQ(model.bands(), HUDModel::Bands{});
    env.queue.advance(5);
  }
}

// A model fed at one gap must end exactly where a model fed at the clamped gap does.
TEST_F(HUDModelTest, GapsAreClampedBetween240HzAnd15Hz) {
  struct Case {
    double gap, equivalent;
  } cases[] = {{1.0, 1.0 / 15}, {0.2, 1.0 / 15}, {0.001, 1.0 / 240}, {0.0, 1.0 / 240}};
  for (const auto &c : cases) {
    double now = 1;
    HUDModel actual([&] { return now; });
    double then = 1;
    HUDModel expected([&] { return then; });
    for (int step = 0; step < 4; ++step) {
      const auto input = flat(step % 2 ? 0.2 : 0.9);
      actual.push(input);
      expected.push(input);
      now += c.gap;
      then += c.equivalent;
    }
    for (std::size_t i = 0; i < 28; ++i)
      EXPECT_NEAR(actual.bands()[i], expected.bands()[i], 1e-12) << c.gap;
    EXPECT_NEAR(actual.energy(), expected.energy(), 1e-12) << c.gap;
  }
  // Inside the range the gap is used as it is.
  double now = 1;
  HUDModel at30([&] { return now; });
  at30.push(flat(1.0));
  now += 1.0 / 30;
  at30.push(flat(1.0));
  model.push(flat(1.0));
  env.queue.advance(1.0 / 60);
  model.push(flat(1.0));
  EXPECT_GT(at30.bands()[0], model.bands()[0]);
}

TEST_F(HUDModelTest, WallsStopTheSpring) {
  std::vector<double> input(28, 40.0); // far above the top
  for (std::size_t i = 14; i < 28; ++i)
    input[i] = -40.0;
  bool hitTop = false;
  for (int step = 0; step < 30; ++step) {
    model.push(input);
    env.queue.advance(1.0 / 60);
    if (model.bands()[0] == 1.0) {
      hitTop = true;
      EXPECT_EQ(model.velocity()[0], 0.0) << step;
    }
    EXPECT_EQ(model.bands()[27], 0.0);
    EXPECT_LE(model.velocity()[27], 0.0);
    for (double b : model.bands())
      ASSERT_TRUE(b >= 0 && b <= 1);
  }
  EXPECT_TRUE(hitTop);
}

TEST_F(HUDModelTest, EnergyRisesQuicklyFallsSlowlyAndDrivesThePhase) {
  model.push(flat(1.0));
  EXPECT_NEAR(model.energy(), 0.85, 1e-12);
  EXPECT_NEAR(model.phase(), 0.85 * 4.2, 1e-12);
  env.queue.advance(1.0 / 60);
  model.push(flat(0.0));
  EXPECT_NEAR(model.energy(), 0.85 * (1 - 0.42), 1e-12);

  model.reset();
  for (int i = 0; i < 10; ++i) {
    model.push(flat(0.0));
    env.queue.advance(1.0 / 60);
  }
  EXPECT_EQ(model.phase(), 0.0); // silence keeps the meter still

  for (int i = 0; i < 500; ++i) {
    model.push(flat(1.0));
    env.queue.advance(1.0 / 60);
    ASSERT_GE(model.phase(), 0.0);
    ASSERT_LT(model.phase(), 128 * std::numbers::pi);
  }
}

TEST_F(HUDModelTest, ObserversHearEachChangeAndMayComeAndGoMeanwhile) {
  std::vector<Field> heard;
  int late = 0;
  HUDModel::Token token = 0;
  token = model.subscribe([&](Field f) {
    heard.push_back(f);
    if (f != Field::material) return;
    model.unsubscribe(token); // leaving and joining during a delivery must be safe
    model.subscribe([&](Field) { ++late; });
  });
  model.push(flat(0.4));
  model.setState("Listening");
  model.setQuestion("Send it?");
  model.setStyle(HUDPreference::mini);
  model.setMaterial(HUDMaterial::glass);
  EXPECT_EQ(late, 0);
  model.reset();
  EXPECT_EQ(heard, (std::vector<Field>{Field::bands, Field::phase, Field::state, Field::question,
                                       Field::style, Field::material}));
  EXPECT_EQ(late, 2);
}

TEST(HUDPresentation, StateTextPicksTintAndSymbol) {
  const StatePresentation warning{HUDStateKind::warning, HUDTint::orange,
                                  "exclamationmark.triangle.fill"};
  const StatePresentation listening{HUDStateKind::listening, HUDTint::red, "mic.fill"};
  const std::pair<const char *, StatePresentation> cases[] = {
      {"Grant microphone access, then listen again", warning},
      {"No on-device speech model", warning},
      {"SPEAK NOW", listening},
      {"Transcribing…", {HUDStateKind::transcribing, HUDTint::accent, "ellipsis.bubble.fill"}},
      {"Copied to clipboard", {HUDStateKind::other, HUDTint::secondary, ""}},
  };
  for (const auto &[state, expected] : cases)
    EXPECT_EQ(presentState(state), expected) << state;
}

TEST_F(HUDModelTest, HintFollowsTheTriggerPreferences) {
  const std::array<std::array<const char *, 3>, 5> cases{{
      {"hold", "rightCommand", "release to finish"},
      {"automatic", "rightCommand", "pause to stop"},
      {"toggle", "rightCommand", "⌘ to stop"},
      {"toggle", "fnGlobe", "fn to stop"},
      {"toggle", "fnglobe", "⌥ to stop"},
  }};
  for (const auto &[mode, trigger, hint] : cases) {
    env.settings.setValue(PrefKey::triggerMode, std::string(mode));
    env.settings.setValue(PrefKey::trigger, std::string(trigger));
    EXPECT_EQ(model.hint(), hint) << mode << "/" << trigger;
  }
  HUDModel custom({}, [] { return std::string("⌃⌥K"); });
  EXPECT_EQ(custom.hint(), "⌃⌥K to stop");
}

TEST(SyntheticSpectrum, StaysInRangeAndRepeatsForTheSameTime) {
  bool moved = false;
  for (double t = 0; t < 20; t += 0.035) {
    auto bands = SyntheticSpectrum::bands(t);
    for (float b : bands)
      ASSERT_TRUE(b >= 0 && b <= 1) << t;
    EXPECT_EQ(bands, SyntheticSpectrum::bands(t));
    moved = moved || bands != SyntheticSpectrum::bands(t + 0.1);
  }
  EXPECT_TRUE(moved);
}

} // namespace
} // namespace selvar
