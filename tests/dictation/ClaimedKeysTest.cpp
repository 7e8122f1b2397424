// A tap that only observes (X11) must claim keys before they are pressed; the keys it is told
// to claim must be exactly those the handler swallows at that moment.

#include "dictation/DictationRig.h"
#include "hotkeys/KeyChoices.h"

#include <gtest/gtest.h>
#include <set>

namespace selvar::testing {
namespace {

constexpr int kPeriod = 47;

std::set<int> claimedCodes(DictationRig &rig) {
  std::set<int> codes;
  for (const SwallowedKey &key : rig.env.keyboardTap.claimed)
    codes.insert(key.keyCode);
  return codes;
}

const std::set<int> kChordOnly{VirtualKey::v};
const std::set<int> kWithCancel{VirtualKey::v, VirtualKey::escape};
const std::set<int> kConfirming{VirtualKey::v, VirtualKey::escape, VirtualKey::returnKey,
                                VirtualKey::keypadEnter};

TEST(ClaimedKeysTest, TheCancelKeyIsClaimedOnlyWhileARecordingOrItsConfirmationIsOpen) {
  DictationRig rig;
  EXPECT_EQ(claimedCodes(rig), kChordOnly) << "idle: only the paste-last chord";
  rig.startSpeaking();
  EXPECT_EQ(claimedCodes(rig), kWithCancel) << "listening";
  EXPECT_TRUE(rig.escape());
  EXPECT_EQ(claimedCodes(rig), kConfirming) << "confirmation open";
  rig.env.queue.advance(0.2);
  EXPECT_TRUE(rig.escape());
  EXPECT_EQ(rig.state(), DictationController::State::idle);
  EXPECT_EQ(claimedCodes(rig), kChordOnly) << "discarded: everything given back";
}

TEST(ClaimedKeysTest, ACommitAndTheConfirmationTimerGiveTheKeysBack) {
  DictationRig rig;
  rig.startSpeaking();
  rig.press();
  rig.task().final("i went home");
  rig.settle();
  EXPECT_EQ(rig.pasted(), "I went home");
  EXPECT_EQ(claimedCodes(rig), kChordOnly) << "after an ordinary commit";

  rig.startSpeaking();
  rig.escape();
  rig.task().final("i went home");
  rig.env.queue.runUntilIdle();
  EXPECT_EQ(claimedCodes(rig), kConfirming) << "text held back";
  rig.env.queue.advance(10.5);
  EXPECT_EQ(claimedCodes(rig), kChordOnly) << "the timer delivered the held text";
}

TEST(ClaimedKeysTest, ClaimsFollowTheCancelKeyChoiceAndTheSwallowSetting) {
  DictationRig rig;
  CancelKeyStore::setCurrent(CancelKey::controlPeriod);
  rig.startSpeaking();
  const auto &claimed = rig.env.keyboardTap.claimed;
  auto period = std::find_if(claimed.begin(), claimed.end(),
                             [](const SwallowedKey &k) { return k.keyCode == kPeriod; });
  ASSERT_NE(period, claimed.end());
  EXPECT_EQ(period->requiredFlags, ModifierFlag::control);
  EXPECT_FALSE(period->exactModifiers) << "other modifiers are not examined";
  auto chord = std::find_if(claimed.begin(), claimed.end(),
                            [](const SwallowedKey &k) { return k.keyCode == VirtualKey::v; });
  ASSERT_NE(chord, claimed.end());
  EXPECT_EQ(chord->requiredFlags, ModifierFlag::control | ModifierFlag::command);
  EXPECT_TRUE(chord->exactModifiers);
  rig.press();
  rig.task().final("done");
  rig.settle();

  rig.env.settings.setValue(PrefKey::swallowEscapeWhileDictating, false);
  rig.env.settings.setValue("pasteShortcut", std::string("disabled"));
  rig.startSpeaking();
  EXPECT_TRUE(rig.env.keyboardTap.claimed.empty()) << "nothing to keep from the application";
}

} // namespace
} // namespace selvar::testing
