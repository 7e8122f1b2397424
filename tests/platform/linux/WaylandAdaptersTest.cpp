#include "hotkeys/KeyChoices.h"
#include "insertion/TextInserter.h"
#include "platform/Services.h"
#include "platform/fake/FakeEnvironment.h"
#include "platform/linux/GtkOnlyClipboard.h"
#include "platform/linux/MinimalCompositor.h"
#include "platform/linux/SessionAdapters.h"
#include "platform/linux/WaylandDataControlClipboard.h"
#include "platform/linux/WaylandKeySynthesizer.h"
#include "records/Log.h"
#include "support/LogText.h"

#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>
#include <optional>
#include <string>

namespace selvar {
namespace {

// Points WAYLAND_DISPLAY at a socket name nobody listens on, for the life of the object.
class NoCompositor {
public:
  explicit NoCompositor(const std::filesystem::path &runtime) {
    save("WAYLAND_DISPLAY", display_);
    save("XDG_RUNTIME_DIR", runtime_);
    setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
    setenv("WAYLAND_DISPLAY", "wayland-nobody", 1);
  }
  ~NoCompositor() {
    restore("WAYLAND_DISPLAY", display_);
    restore("XDG_RUNTIME_DIR", runtime_);
  }

private:
  static void save(const char *name, std::optional<std::string> &into) {
    if (const char *value = std::getenv(name)) into = value;
  }
  static void restore(const char *name, const std::optional<std::string> &value) {
    if (value)
      setenv(name, value->c_str(), 1);
    else
      unsetenv(name);
  }
  std::optional<std::string> display_, runtime_;
};

// Without a compositor both adapters stay unavailable, refuse quietly and say why once.
TEST(WaylandAdaptersTest, WithoutACompositorNothingIsSentAndTheLogSaysWhy) {
  FakeEnvironment env;
  NoCompositor none(env.root());
  Log::write("start"); // a whole-log tail leaves out its first line

  WaylandKeySynthesizer keys;
  EXPECT_FALSE(keys.available());
  EXPECT_FALSE(keys.postKeystroke(VirtualKey::v, ModifierFlag::command, 0));

  WaylandDataControlClipboard clipboard;
  EXPECT_FALSE(clipboard.available());
  clipboard.setString("kept nowhere");
  clipboard.restore({PasteboardItem{{{"text/plain", {'x'}}}}});
  EXPECT_EQ(clipboard.snapshot(), std::nullopt);
  EXPECT_EQ(clipboard.string(), std::nullopt);

  Log::flush();
  auto log = Log::tail(4096);
  EXPECT_NE(log.find("cannot connect to the compositor for synthetic keys"), std::string::npos)
      << log;
  EXPECT_NE(log.find("cannot connect to the compositor for the clipboard"), std::string::npos)
      << log;
}

bool hasNote(const std::vector<std::string> &notes, const std::string &note) {
  return std::find(notes.begin(), notes.end(), note) != notes.end();
}

// A compositor with only the core globals: each adapter falls back and says so, and a
// dictation is still copied, with the user told to paste it and the log saying why the focus
// stays where it is.
TEST(WaylandAdaptersTest, ACompositorWithoutTheProtocolsLeavesEveryAdapterOnItsFallback) {
  FakeEnvironment env;
  testing::MinimalCompositor compositor(env.root());
  ASSERT_FALSE(compositor.socketName().empty());
  auto session = makeWaylandAdapters();
  EXPECT_GE(compositor.clients(), 3); // keys, clipboard and windows each asked this one

  EXPECT_FALSE(session->keySynthesizer().canPostKeystrokes());
  EXPECT_NE(dynamic_cast<GtkOnlyClipboard *>(&session->pasteboard()), nullptr);
  EXPECT_EQ(session->workspace().focusRestoreUnavailable(),
            "the compositor offers no foreign-toplevel management");
  EXPECT_EQ(session->workspace().focusedWindow(), nullptr);
  auto notes = session->startupNotes();
  for (const char *note :
       {"wayland: no synthetic paste here; dictated text is copied for Ctrl+V",
        "wayland: no data-control here; the clipboard is set through GTK and never restored",
        "wayland: the focus cannot be restored before a paste here: the compositor offers no "
        "foreign-toplevel management",
        "wayland: no layer-shell here; the pill is an ordinary window that the compositor "
        "places"})
    EXPECT_TRUE(hasNote(notes, note)) << note;

  // The core over these adapters (the clipboard stays the fake: GTK's needs a display).
  Services services = selvar::services();
  services.workspace = &session->workspace();
  services.accessibility = &session->accessibility();
  services.keySynthesizer = &session->keySynthesizer();
  installServices(services);
  auto anchor = FocusAnchor::capture(services.workspace->frontmostApplication());
  ASSERT_TRUE(anchor);
  int told = 0;
  TextInserter::insert("dictated", std::nullopt, anchor, [&] { ++told; });
  env.queue.advance(5);
  EXPECT_EQ(told, 1);
  EXPECT_EQ(env.pasteboard.string(), "dictated");
  EXPECT_EQ(testing::logCount("insert: focus cannot be restored here: the compositor offers no "
                              "foreign-toplevel management"),
            1u);
  EXPECT_TRUE(testing::logHas("insert: no keystroke can reach other applications here"));
}

} // namespace
} // namespace selvar
