#include "hotkeys/KeyChoices.h"
#include "platform/fake/FakeEnvironment.h"
#include "platform/linux/WaylandDataControlClipboard.h"
#include "platform/linux/WaylandKeySynthesizer.h"
#include "records/Log.h"

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

} // namespace
} // namespace selvar
