#include "app/LiveSubsystems.h"

#include "platform/fake/FakeEnvironment.h"
#include "records/Log.h"

#include <cstdio>
#include <glib.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace selvar {
namespace {

// Toolkit warnings only reach the user's log, and the log tail of a feedback report, when the
// app's log takes over standard error.
TEST(LiveSubsystemsTest, TheLogTakesOverStandardErrorSoToolkitWarningsAreKept) {
  FakeEnvironment env;
  std::fflush(stderr);
  int saved = ::dup(STDERR_FILENO);
  ASSERT_GE(saved, 0);
  LiveSubsystems(LiveSubsystems::Parts{}).installLog();
  g_warning("a toolkit warning that would otherwise be lost");
  std::fflush(stderr);
  Log::write("the app's own line");
  std::string tail = Log::tail(16384);
  ::dup2(saved, STDERR_FILENO);
  ::close(saved);
  EXPECT_NE(tail.find("a toolkit warning that would otherwise be lost"), std::string::npos) << tail;
  EXPECT_NE(tail.find("the app's own line"), std::string::npos);
}

} // namespace
} // namespace selvar
