#include "platform/fake/FakeEnvironment.h"

#include "records/Diagnostics.h"
#include "records/Log.h"

#include <atomic>
#include <cstdlib>
#include <string>
#include <unistd.h>

namespace selvar {

namespace fs = std::filesystem;

fs::path FakeEnvironment::makeRoot() {
  static std::atomic<int> counter{0};
  fs::path base = fs::temp_directory_path() /
                  ("selvar-test-" + std::to_string(::getpid()) + "-" + std::to_string(counter++));
  std::error_code ec;
  fs::remove_all(base, ec);
  fs::create_directories(base / "tmp", ec);
  fs::create_directories(base / "home", ec);
  return base;
}

FakeEnvironment::FakeEnvironment(WallTime wallStart)
    : queue(wallStart), files(makeRoot()), root_(files.dataRoot().parent_path()),
      previous_(services()) {
  Services s;
  s.mainQueue = &queue;
  s.clock = &queue;
  s.settings = &settings;
  s.notifications = &notifications;
  s.files = &files;
  s.workspace = &workspace;
  s.permissions = &permissions;
  s.audio = &audio;
  s.speech = &speech;
  s.accessibility = &accessibility;
  s.pasteboard = &pasteboard;
  s.keySynthesizer = &keys;
  s.keyboardTap = &keyboardTap;
  s.dsp = &dsp;
  s.keyboardLayout = &keyboardLayout;
  s.systemInfo = &systemInfo;
  installServices(s);
}

FakeEnvironment::~FakeEnvironment() {
  // Records queued by the test land in this root before it goes, not in a recreated folder.
  Log::flush();
  Diagnostics::flush();
  installServices(previous_);
  std::error_code ec;
  fs::remove_all(root_, ec);
}

} // namespace selvar
