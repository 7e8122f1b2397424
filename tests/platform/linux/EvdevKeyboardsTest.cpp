// Recorded evdev sequences through fake devices: what the core's key handler is told, and how
// keyboards that come, go or may not be read are handled.

#include "platform/linux/EvdevKeyboards.h"

#include "hotkeys/KeyChoices.h"
#include "platform/fake/FakeEnvironment.h"
#include "support/LogText.h"

#include <gtest/gtest.h>
#include <linux/input-event-codes.h>
#include <map>

namespace selvar::testing {
namespace {

class FakeDevice : public EvdevDevice {
public:
  FakeDevice(std::string name, bool keyboard, std::vector<EvdevRead> *queue)
      : name_(std::move(name)), keyboard_(keyboard), queue_(queue) {}
  std::string name() const override { return name_; }
  bool isKeyboard() const override { return keyboard_; }
  int fd() const override { return -1; }
  EvdevRead read() override {
    if (queue_->empty()) return {};
    EvdevRead next = queue_->front();
    queue_->erase(queue_->begin());
    return next;
  }

private:
  std::string name_;
  bool keyboard_;
  std::vector<EvdevRead> *queue_;
};

class FakeEvdev : public EvdevSystem {
public:
  struct Node {
    Node(std::string n = {}, bool k = true, int e = 0)
        : name(std::move(n)), keyboard(k), error(e) {}
    std::string name;
    bool keyboard = true;
    int error = 0;
    std::vector<EvdevRead> reads;
  };
  std::vector<std::string> devicePaths() override {
    std::vector<std::string> paths;
    for (const auto &[path, node] : nodes)
      paths.push_back(path);
    return paths;
  }
  EvdevOpened open(const std::string &path) override {
    ++opens[path];
    Node &node = nodes.at(path);
    if (node.error) return {nullptr, node.error};
    return {std::make_unique<FakeDevice>(node.name, node.keyboard, &node.reads), 0};
  }
  // One read's worth of key events (value: 1 press, 0 release, 2 repeat), then a report.
  void keys(const std::string &path, std::vector<std::pair<int, int>> codeValues,
            bool gone = false) {
    EvdevRead read;
    for (auto [code, value] : codeValues) {
      read.events.push_back({EV_KEY, code, value});
      read.events.push_back({EV_SYN, SYN_REPORT, 0});
    }
    read.gone = gone;
    nodes.at(path).reads.push_back(read);
  }
  std::map<std::string, Node> nodes;
  std::map<std::string, int> opens;
};

const int kRightOptionMac = keyCode(Trigger::rightOption);
constexpr int kEscapeMac = 53;

class EvdevKeyboardsTest : public ::testing::Test {
protected:
  EvdevKeyboardsTest() {
    keyboards.setSink([this](const KeyEvent &e) { seen.push_back(e); });
  }
  // The events since the last call, as (type, mac key code, trigger down?) for reading.
  std::vector<std::string> take() {
    std::vector<std::string> out;
    for (const KeyEvent &e : seen) {
      std::string text = e.type == KeyEvent::Type::keyDown ? "down " : "flags ";
      text += std::to_string(e.keyCode);
      if (e.keyCode == kRightOptionMac) {
        auto down =
            triggerState(Trigger::rightOption, e.keyCode, e.flags, [](int) { return false; });
        text += down && *down ? " trigger-down" : " trigger-up";
      }
      out.push_back(text);
    }
    seen.clear();
    return out;
  }
  FakeEnvironment env;
  FakeEvdev system;
  EvdevKeyboards keyboards{system};
  std::vector<KeyEvent> seen;
};

using Lines = std::vector<std::string>;

TEST_F(EvdevKeyboardsTest, RecordedTypingBecomesTheTapsEvents) {
  system.nodes["/dev/input/event3"] = {"AT keyboard"};
  ASSERT_EQ(keyboards.scan(), 1u);
  const std::string ro = std::to_string(kRightOptionMac), esc = std::to_string(kEscapeMac);
  struct Case {
    const char *what;
    std::vector<std::pair<int, int>> events;
    Lines expected;
  } cases[] = {
      {"the trigger held with auto-repeat, then released",
       {{KEY_RIGHTALT, 1}, {KEY_RIGHTALT, 2}, {KEY_RIGHTALT, 2}, {KEY_RIGHTALT, 0}},
       {"flags " + ro + " trigger-down", "flags " + ro + " trigger-up"}},
      {"left Alt is not the trigger",
       {{KEY_LEFTALT, 1}, {KEY_LEFTALT, 0}},
       {"flags 58", "flags 58"}},
      {"Escape repeats as key-downs and its release is no event",
       {{KEY_ESC, 1}, {KEY_ESC, 2}, {KEY_ESC, 0}},
       {"down " + esc, "down " + esc}},
      {"a release never pressed (the tap started while it was held) is ignored",
       {{KEY_RIGHTCTRL, 0}},
       {}},
  };
  for (const auto &c : cases) {
    system.keys("/dev/input/event3", c.events);
    keyboards.readable("/dev/input/event3");
    EXPECT_EQ(take(), c.expected) << c.what;
  }
}

TEST_F(EvdevKeyboardsTest, AVanishingKeyboardReleasesWhatItHeldUnlessAnotherStillHoldsIt) {
  system.nodes["/dev/input/event3"] = {"laptop"};
  system.nodes["/dev/input/event7"] = {"usb"};
  keyboards.scan();
  const std::string ro = std::to_string(kRightOptionMac);
  system.keys("/dev/input/event3", {{KEY_RIGHTALT, 1}});
  keyboards.readable("/dev/input/event3");
  system.keys("/dev/input/event7", {{KEY_RIGHTALT, 1}});
  keyboards.readable("/dev/input/event7");
  EXPECT_EQ(take(), Lines{"flags " + ro + " trigger-down"});
  EXPECT_TRUE(keyboards.isKeyDown(kRightOptionMac));

  system.keys("/dev/input/event7", {}, /*gone=*/true); // unplugged mid-hold
  keyboards.readable("/dev/input/event7");
  system.nodes.erase("/dev/input/event7");
  EXPECT_EQ(take(), Lines{}) << "the laptop keyboard still holds it";
  EXPECT_TRUE(logHas("evdev: keyboard \"usb\" at /dev/input/event7 is gone"));

  system.nodes.erase("/dev/input/event3"); // its node went away over a suspend
  keyboards.scan();
  EXPECT_EQ(take(), Lines{"flags " + ro + " trigger-up"});
  EXPECT_FALSE(keyboards.isKeyDown(kRightOptionMac));
  EXPECT_EQ(keyboards.keyboardCount(), 0u);

  system.nodes["/dev/input/event3"] = {"laptop"}; // back after the resume
  EXPECT_EQ(keyboards.scan(), 1u);
}

TEST_F(EvdevKeyboardsTest, DeniedNodesAreLoggedOnceAndOtherDevicesAreLeftAlone) {
  system.nodes["/dev/input/event0"] = {"Power Button", false};
  system.nodes["/dev/input/event4"] = {"AT keyboard", true, EACCES};
  EXPECT_EQ(keyboards.scan(), 0u);
  EXPECT_EQ(keyboards.scan(), 0u);
  EXPECT_EQ(logCount("evdev: cannot read /dev/input/event4: Permission denied (add the user to "
                     "the input group to use it)"),
            1u);
  EXPECT_EQ(keyboards.deniedPaths().size(), 1u);
  EXPECT_EQ(system.opens["/dev/input/event0"], 1) << "a known non-keyboard is not reopened";

  system.nodes["/dev/input/event4"].error = 0; // permissions fixed (udev, group login)
  EXPECT_EQ(keyboards.scan(), 1u);
  EXPECT_TRUE(keyboards.deniedPaths().empty());
  EXPECT_TRUE(logHas("evdev: reading keyboard \"AT keyboard\" at /dev/input/event4"));
}

} // namespace
} // namespace selvar::testing
