#include "platform/linux/WaylandDataControlClipboard.h"

#include "platform/fake/FakeEnvironment.h"
#include "platform/linux/MinimalCompositor.h"
#include "platform/linux/SessionAdapters.h"

#include <algorithm>
#include <glib.h>
#include <gtest/gtest.h>
#include <map>
#include <string>

namespace selvar {
namespace {

using Contents = std::map<std::string, std::string>;

const std::vector<std::string> kTextTypes{"text/plain;charset=utf-8", "text/plain", "UTF8_STRING",
                                          "STRING", "TEXT"};

// Larger than a pipe's buffer, with bytes text handling would lose.
std::string picture() {
  std::string bytes(200 * 1024, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i)
    bytes[i] = static_cast<char>(i * 31 % 256);
  return bytes;
}

PasteboardItem itemOf(const Contents &contents) {
  PasteboardItem item;
  for (const auto &[type, data] : contents)
    item.representations.emplace_back(type, std::vector<std::uint8_t>(data.begin(), data.end()));
  return item;
}

// Runs the clipboard's watch on the GLib loop, as the application's main loop would.
void pump() {
  while (g_main_context_iteration(nullptr, FALSE)) {
  }
}

class ExtDataControlTest : public ::testing::Test {
protected:
  // What a pasting client gets for each type the selection offers.
  Contents pasted() {
    Contents contents;
    for (const auto &type : compositor.selectionTypes().value_or(std::vector<std::string>{}))
      contents[type] = compositor.readSelection(type, pump).value_or("<nothing>");
    return contents;
  }

  FakeEnvironment env;
  testing::MinimalCompositor compositor{env.root(), {.extDataControl = true}};
  WaylandDataControlClipboard clipboard;
};

TEST_F(ExtDataControlTest, ASnapshotHoldsEveryTypeAnotherClientCopied) {
  struct Case {
    const char *name;
    std::optional<Contents> copied; // nothing: no one has copied yet
    PasteboardSnapshot snapshot;
    std::optional<std::string> text;
  };
  const Contents several{{"text/plain;charset=utf-8", "grüße"},
                         {"text/html", "<b>grüße</b>"},
                         {"image/png", picture()}};
  const Case cases[] = {
      {"an empty clipboard", std::nullopt, {}, std::nullopt},
      {"several types", several, {itemOf(several)}, "grüße"},
      {"only a picture",
       Contents{{"image/png", "png"}},
       {itemOf({{"image/png", "png"}})},
       std::nullopt},
      {"a selection offering no type", Contents{}, {}, std::nullopt},
  };
  ASSERT_TRUE(clipboard.available());
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    if (c.copied) compositor.own(*c.copied);
    EXPECT_EQ(clipboard.snapshot(), c.snapshot);
    EXPECT_EQ(clipboard.string(), c.text);
  }
}

TEST_F(ExtDataControlTest, SetTextIsWhatAnotherClientPastesUntilSomeoneCopies) {
  compositor.own({{"text/plain", "before"}});
  clipboard.setString("dictated words");
  EXPECT_EQ(compositor.selectionTypes(), kTextTypes);
  Contents expected;
  for (const auto &type : kTextTypes)
    expected[type] = "dictated words";
  EXPECT_EQ(pasted(), expected);
  EXPECT_EQ(clipboard.string(), "dictated words");

  // Another copy takes over: what this process offered is no longer what it reports.
  compositor.own({{"text/plain", "copied later"}});
  EXPECT_EQ(clipboard.string(), "copied later");
  EXPECT_EQ(clipboard.snapshot(), PasteboardSnapshot{itemOf({{"text/plain", "copied later"}})});
}

TEST_F(ExtDataControlTest, RestorePutsEveryTypeBack) {
  const Contents original{{"text/plain;charset=utf-8", "kept"},
                          {"text/uri-list", "file:///tmp/a.png"},
                          {"image/png", picture()}};
  compositor.own(original);
  auto snapshot = clipboard.snapshot();
  ASSERT_TRUE(snapshot);
  clipboard.setString("dictated");
  clipboard.restore(*snapshot);

  auto types = compositor.selectionTypes();
  ASSERT_TRUE(types);
  std::sort(types->begin(), types->end());
  EXPECT_EQ(*types,
            (std::vector<std::string>{"image/png", "text/plain;charset=utf-8", "text/uri-list"}));
  EXPECT_TRUE(pasted() == original) << "a type came back changed";
  EXPECT_EQ(clipboard.snapshot(), snapshot);
}

// The standard protocol wins where both are offered; the test compositor cuts off a client
// that binds wlroots' one, so only a compositor without the standard one may see that.
TEST(DataControlChoiceTest, TheStandardProtocolIsPreferred) {
  struct Case {
    const char *name;
    testing::MinimalCompositor::Protocols offered;
    const char *protocol;
    int wlrBinds;
  };
  const Case cases[] = {
      {"both", {.extDataControl = true, .wlrDataControl = true}, "ext-data-control-v1", 0},
      {"the standard one", {.extDataControl = true}, "ext-data-control-v1", 0},
      {"only wlroots' one", {.wlrDataControl = true}, nullptr, 1},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    FakeEnvironment env;
    testing::MinimalCompositor compositor(env.root(), c.offered);
    WaylandDataControlClipboard clipboard;
    EXPECT_EQ(clipboard.protocol() ? std::string(clipboard.protocol()) : "none",
              c.protocol ? c.protocol : "none");
    EXPECT_EQ(compositor.wlrDataControlBinds(), c.wlrBinds);
  }
}

TEST(DataControlChoiceTest, TheStartupNoteNamesTheProtocolInUse) {
  FakeEnvironment env;
  testing::MinimalCompositor compositor(env.root(),
                                        {.extDataControl = true, .wlrDataControl = true});
  auto notes = makeWaylandAdapters()->startupNotes();
  EXPECT_NE(std::find(notes.begin(), notes.end(),
                      "wayland: clipboard snapshot and restore through data-control "
                      "(ext-data-control-v1)"),
            notes.end());
}

} // namespace
} // namespace selvar
