#include "insertion/TextInserter.h"

#include "app/Prefs.h"
#include "insertion/PreviousApplication.h"
#include "platform/fake/FakeEnvironment.h"
#include "support/LogText.h"

#include <gtest/gtest.h>

namespace selvar {
namespace {

using testing::logCount;
using testing::logHas;

PasteboardItem richItem() {
  return {{{"public.rtf", {'{', 'r', '}'}}, {FakePasteboard::kPlainText, {'o', 'l', 'd'}}}};
}

class TextInserterTest : public ::testing::Test {
protected:
  void SetUp() override {
    editor = env.workspace.launch(501, "com.example.editor", "Editor");
    field = env.accessibility.addFocusedField(editor.pid, "body");
    env.workspace.bringToFront(editor.pid);
    env.pasteboard.setItem(richItem());
    PreviousApplication::setSource([this] { return previous; });
  }
  void TearDown() override { PreviousApplication::setSource(nullptr); }

  FakeEnvironment env;
  RunningApp editor;
  ElementRef field;
  std::optional<RunningApp> previous;
};

TEST_F(TextInserterTest, PastesIntoTheAnchoredFieldThenRestoresTheClipboardAfterOneSecond) {
  auto anchor = FocusAnchor::capture(editor);
  ASSERT_TRUE(anchor);
  // The user clicked into another field of the editor while speaking.
  env.accessibility.addFocusedField(editor.pid, "search");

  TextInserter::insert("hello there", editor, anchor);
  EXPECT_EQ(env.pasteboard.string(), "hello there");
  env.queue.advance(0.059);
  EXPECT_TRUE(env.keys.posted.empty());
  env.queue.advance(0.001);
  ASSERT_EQ(env.keys.posted.size(), 1u);
  EXPECT_EQ(env.keys.posted[0].keyCode, 9);
  EXPECT_EQ(env.keys.posted[0].flags, 0x100000u);
  EXPECT_DOUBLE_EQ(env.keys.posted[0].holdSeconds, 0.02);
  EXPECT_EQ(FakeAccessibility::nameOf(env.accessibility.focused[editor.pid]), "body");
  EXPECT_EQ(env.accessibility.raisedWindows, std::vector<std::string>{"body window"});
  ASSERT_FALSE(env.workspace.activations.empty());
  EXPECT_TRUE(env.workspace.activations.back().ignoringOtherApps);
  EXPECT_TRUE(logHas("insert: front=com.example.editor selvarActive=false focusRestored=true "
                     "attempt=0"));

  env.queue.advance(0.999);
  EXPECT_EQ(env.pasteboard.string(), "hello there");
  env.queue.advance(0.001);
  EXPECT_EQ(env.pasteboard.items, PasteboardSnapshot{richItem()});
}

TEST_F(TextInserterTest, AnApplicationWithSeveralWindowsComesForwardWithTheAnchoredOne) {
  auto anchor = FocusAnchor::capture(editor);
  // A second, newer window of the same editor took the focus while the user spoke.
  env.accessibility.addFocusedField(editor.pid, "other");
  TextInserter::insert("hello", editor, anchor);
  env.queue.advance(0.06);
  ASSERT_FALSE(env.workspace.activations.empty());
  const auto &activation = env.workspace.activations.back();
  EXPECT_EQ(activation.pid, editor.pid);
  EXPECT_EQ(FakeAccessibility::nameOf(activation.window), "body window");
  EXPECT_EQ(env.keys.posted.size(), 1u);
}

TEST_F(TextInserterTest, ClipboardOutcomeFollowsTheModeAndThePreference) {
  struct Case {
    const char *name;
    InsertMode mode;
    bool restore;
    std::optional<PasteboardSnapshot> before;
    bool pasted;
    std::optional<std::string> clipboardAfter; // plain text at the end
  } cases[] = {
      {"paste+restore", InsertMode::paste, true, PasteboardSnapshot{richItem()}, true, "old"},
      {"paste, keep text", InsertMode::paste, false, PasteboardSnapshot{richItem()}, true, "new"},
      {"copy only", InsertMode::copyOnly, true, PasteboardSnapshot{richItem()}, false, "new"},
      {"empty clipboard", InsertMode::paste, true, PasteboardSnapshot{}, true, "new"},
      {"no items list", InsertMode::paste, true, std::nullopt, true, "new"},
  };
  for (const auto &c : cases) {
    env.settings.setValue(PrefKey::insertMode, std::string(rawValue(c.mode)));
    env.settings.setValue(PrefKey::restoreClipboard, c.restore);
    env.pasteboard.items = c.before;
    env.keys.posted.clear();
    TextInserter::insert("new", editor, std::nullopt);
    env.queue.advance(5);
    EXPECT_EQ(env.keys.posted.size(), c.pasted ? 1u : 0u) << c.name;
    EXPECT_EQ(env.pasteboard.string(), c.clipboardAfter) << c.name;
  }
}

TEST_F(TextInserterTest, HandsFocusBackUpToThreeTimesThenPastesWhateverIsInFront) {
  previous = editor;
  env.workspace.bringToFront(env.workspace.self.pid);
  env.workspace.activationsTakeEffect = false;
  TextInserter::insert("text", std::nullopt, std::nullopt);
  env.queue.advance(0.06 + 0.15 + 0.15);
  EXPECT_EQ(env.workspace.activations.size(), 3u);
  EXPECT_TRUE(env.keys.posted.empty());
  env.queue.advance(0.15);
  EXPECT_EQ(env.keys.posted.size(), 1u);
  EXPECT_EQ(logCount("insert: selvar frontmost with no key window; handing focus back to Editor"),
            3u);
  EXPECT_TRUE(logHas("insert: front=app.selvar.Selvar selvarActive=true focusRestored=false "
                     "attempt=3"));
}

TEST_F(TextInserterTest, HandBackOnlyWhenSelvarIsInFrontWithoutAWindowAndSomewhereToGo) {
  struct Case {
    const char *name;
    bool selvarInFront, keyWindow, havePrevious, previousQuit;
    std::size_t handBacks;
  } cases[] = {
      {"hand back", true, false, true, false, 1},
      {"settings window open", true, true, true, false, 0},
      {"no previous app", true, false, false, false, 0},
      {"previous app quit", true, false, true, true, 0},
      {"another app in front", false, false, true, false, 0},
  };
  for (const auto &c : cases) {
    FakeEnvironment local;
    auto app = local.workspace.launch(600, "com.example.notes", "Notes");
    local.workspace.bringToFront(c.selvarInFront ? local.workspace.self.pid : app.pid);
    local.workspace.hasKeyWindow = c.keyWindow;
    if (c.previousQuit) local.workspace.terminate(app.pid);
    PreviousApplication::setSource([&]() -> std::optional<RunningApp> {
      return c.havePrevious ? std::optional(app) : std::nullopt;
    });
    TextInserter::insert("x", std::nullopt, std::nullopt);
    local.queue.advance(1);
    auto handBacks =
        std::count_if(local.workspace.activations.begin(), local.workspace.activations.end(),
                      [](auto &a) { return !a.ignoringOtherApps; });
    EXPECT_EQ(static_cast<std::size_t>(handBacks), c.handBacks) << c.name;
    EXPECT_EQ(local.keys.posted.size(), 1u) << c.name;
  }
}

// Paste mode where the keystroke cannot go out: the text stays on the clipboard for the user,
// nothing is put back over it, and the caller hears of it once so it can tell the user.
TEST_F(TextInserterTest, WhenNoPasteCanGoOutTheTextStaysOnTheClipboardAndTheCallerIsTold) {
  struct Case {
    const char *name;
    bool reachesApplications;
    bool canCreateEvents;
    std::size_t posted;
    const char *clipboardAfter;
    int told;
    const char *logLine;
  } cases[] = {
      {"paste goes out", true, true, 1, "old", 0, "focusRestored=true"},
      {"session without keystrokes", false, true, 0, "new", 1,
       "insert: no keystroke can reach other applications here; the text stays on the clipboard"},
      {"keystroke fails", true, false, 0, "new", 1,
       "insert: could not create the paste keystroke; the text stays on the clipboard"},
  };
  for (const auto &c : cases) {
    FakeEnvironment local;
    auto app = local.workspace.launch(600, "com.example.notes", "Notes");
    local.accessibility.addFocusedField(app.pid, "note");
    local.workspace.bringToFront(app.pid);
    local.pasteboard.setItem(richItem());
    local.keys.reachesApplications = c.reachesApplications;
    local.keys.canCreateEvents = c.canCreateEvents;
    int told = 0;
    TextInserter::insert("new", app, FocusAnchor::capture(app), [&] { ++told; });
    local.queue.advance(5);
    EXPECT_EQ(local.keys.posted.size(), c.posted) << c.name;
    EXPECT_EQ(local.pasteboard.string(), c.clipboardAfter) << c.name;
    EXPECT_EQ(told, c.told) << c.name;
    EXPECT_TRUE(logHas(c.logLine)) << c.name;
  }
}

TEST_F(TextInserterTest, FocusIsRestoredOnlyForTheAnchoredProcessAndFailuresStillPaste) {
  auto other = env.workspace.launch(777, "com.example.mail", "Mail");
  auto anchor = FocusAnchor::capture(editor);
  TextInserter::insert("a", other, anchor); // anchor of another process than the target
  env.queue.advance(0.06);
  EXPECT_TRUE(logHas("focusRestored=false attempt=0"));
  EXPECT_TRUE(env.accessibility.focusChanges.empty());
  EXPECT_EQ(env.keys.posted.size(), 1u);

  env.accessibility.failSetFocus = true;
  TextInserter::insert("b", editor, anchor);
  env.queue.advance(0.06);
  EXPECT_EQ(logCount("focusRestored=false attempt=0"), 2u);
  EXPECT_EQ(env.keys.posted.size(), 2u);

  env.keys.canCreateEvents = false;
  TextInserter::insert("c", editor, anchor);
  env.queue.advance(0.06);
  EXPECT_EQ(env.pasteboard.string(), "c");
  EXPECT_TRUE(logHas("could not create the paste keystroke"));
}

TEST(FocusAnchorTest, NeverAnchorsToNothingToSelvarOrToAQuitApp) {
  FakeEnvironment env;
  auto app = env.workspace.launch(300, "com.example.term", "Terminal");
  auto bare = env.workspace.launch(301, "com.example.bare", "Bare");
  env.accessibility.addFocusedField(app.pid, "prompt");
  env.accessibility.addFocusedField(env.workspace.self.pid, "settings");
  EXPECT_FALSE(FocusAnchor::capture(std::nullopt));
  EXPECT_FALSE(FocusAnchor::capture(env.workspace.self));
  EXPECT_FALSE(FocusAnchor::capture(bare)); // no readable focused element
  auto anchor = FocusAnchor::capture(app);
  ASSERT_TRUE(anchor);
  EXPECT_EQ(anchor->pid, 300);
  env.workspace.terminate(app.pid);
  EXPECT_FALSE(FocusAnchor::capture(app));
}

// Where the window system names windows but not their processes, the focused window is the
// anchor; where nothing can be put back, the anchor says why, once, and the paste still goes.
TEST(WindowAnchorTest, TheAnchoredWindowComesBackOrTheLogSaysWhyNot) {
  struct Case {
    const char *name;
    bool windowKnown;
    bool closedMeanwhile;
    std::optional<std::string> cannotRestore;
    bool restored;
  } cases[] = {
      {"anchored window comes back", true, false, std::nullopt, true},
      {"anchored window closed meanwhile", true, true, std::nullopt, false},
      {"no way to restore focus", false, false, "no window management protocol", false},
  };
  for (const auto &c : cases) {
    FakeEnvironment env;
    env.workspace.bringToFront(501); // no such process: nothing is frontmost
    auto anchored = std::make_shared<FakeElement>("editor window");
    if (c.windowKnown) env.workspace.frontWindow = anchored;
    env.workspace.noFocusRestore = c.cannotRestore;
    auto anchor = FocusAnchor::capture(env.workspace.frontmostApplication());
    ASSERT_TRUE(anchor) << c.name;
    // Another window took the focus while the user spoke.
    env.workspace.frontWindow = std::make_shared<FakeElement>("browser window");
    if (c.closedMeanwhile) env.workspace.closedWindows.insert(anchored);

    TextInserter::insert("hello", std::nullopt, anchor);
    env.queue.advance(0.06);
    EXPECT_EQ(env.workspace.frontWindow == anchored, c.restored) << c.name;
    EXPECT_EQ(env.workspace.windowActivations.size(), c.windowKnown ? 1u : 0u) << c.name;
    EXPECT_TRUE(logHas(std::string("focusRestored=") + (c.restored ? "true" : "false"))) << c.name;
    EXPECT_EQ(logCount("insert: focus cannot be restored here: no window management protocol"),
              c.cannotRestore ? 1u : 0u)
        << c.name;
    EXPECT_EQ(env.keys.posted.size(), 1u) << c.name;
    EXPECT_TRUE(env.workspace.activations.empty()) << c.name;
  }
}

} // namespace
} // namespace selvar
