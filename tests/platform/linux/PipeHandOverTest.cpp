// Clipboard data handed to another process must never hold up Selvar's main loop, whatever
// the reader does: drain slowly, stop reading, or go away.

#include "platform/linux/PipeHandOver.h"

#include "platform/fake/FakeEnvironment.h"
#include "support/LogText.h"

#include <csignal>
#include <fcntl.h>
#include <glib.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace selvar {
namespace {

using testing::logHas;

// Several pipe buffers, so that the hand-over cannot finish in one write.
std::shared_ptr<const std::vector<std::uint8_t>> payload() {
  auto bytes = std::make_shared<std::vector<std::uint8_t>>(1 << 20);
  for (std::size_t i = 0; i < bytes->size(); ++i)
    (*bytes)[i] = static_cast<std::uint8_t>(i * 7 % 251);
  return bytes;
}

struct PipeEnds {
  int read = -1;
  int write = -1;
  PipeEnds() {
    int fds[2];
    if (pipe(fds) == 0) {
      read = fds[0];
      write = fds[1];
      fcntl(read, F_SETFL, O_NONBLOCK);
    }
  }
  ~PipeEnds() {
    if (read >= 0) close(read);
  }
};

// What the reader gets in one go without waiting; -1 at the end of the data.
long drain(int fd, std::vector<std::uint8_t> &into) {
  std::uint8_t buffer[65536];
  ssize_t n = ::read(fd, buffer, sizeof buffer);
  if (n == 0) return -1;
  if (n > 0) into.insert(into.end(), buffer, buffer + n);
  return n > 0 ? n : 0;
}

class PipeHandOverTest : public ::testing::Test {
protected:
  FakeEnvironment env;
  PipeEnds pipe;
};

TEST_F(PipeHandOverTest, ASlowReaderGetsEveryByteWhileTheLoopRuns) {
  auto bytes = payload();
  PipeHandOver::start(pipe.write, bytes, "image/png"); // returns with the pipe full
  std::vector<std::uint8_t> received;
  for (int round = 0; round < 10000; ++round) {
    if (drain(pipe.read, received) < 0) break;
    g_main_context_iteration(nullptr, FALSE);
  }
  EXPECT_EQ(received, *bytes);
}

TEST_F(PipeHandOverTest, AReaderThatStopsIsGivenUpOnAndItsPipeClosed) {
  PipeHandOver::start(pipe.write, payload(), "image/png");
  env.queue.advance(PipeHandOver::kGiveUpSeconds);
  EXPECT_TRUE(logHas("clipboard: gave up handing over image/png: the reader took"));
  std::vector<std::uint8_t> buffered;
  long got = 0;
  while ((got = drain(pipe.read, buffered)) > 0) {
  }
  EXPECT_EQ(got, -1) << "the write end is still open";
  EXPECT_LT(buffered.size(), payload()->size());
  for (int i = 0; i < 10; ++i) // nothing is left to fire on the closed descriptor
    g_main_context_iteration(nullptr, FALSE);
}

TEST_F(PipeHandOverTest, AReaderThatLeavesCostsAFailedWriteOnly) {
  auto previous = std::signal(SIGPIPE, SIG_IGN); // as the application runs
  PipeHandOver::start(pipe.write, payload(), "text/plain");
  close(pipe.read);
  pipe.read = -1;
  for (int i = 0; i < 10; ++i)
    g_main_context_iteration(nullptr, FALSE);
  std::signal(SIGPIPE, previous);
  EXPECT_TRUE(logHas("clipboard: could not hand over text/plain: Broken pipe"));
  env.queue.advance(PipeHandOver::kGiveUpSeconds); // the give-up timer went with the transfer
  EXPECT_FALSE(logHas("gave up handing over"));
}

} // namespace
} // namespace selvar
