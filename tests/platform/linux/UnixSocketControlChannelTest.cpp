#include "platform/linux/UnixSocketControlChannel.h"

#include "platform/fake/FakeEnvironment.h"

#include <chrono>
#include <cstring>
#include <future>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace selvar {
namespace {

void leaveSocketFileBehind(const std::filesystem::path &path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(::bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
  ::close(fd);
}

// Sends from another thread while this one runs the main loop the listener lives on.
ControlSendResult sendWhileServing(UnixSocketControlChannel &sender, const std::string &word) {
  auto result = std::async(std::launch::async, [&] { return sender.send(word); });
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (result.wait_for(std::chrono::seconds(0)) != std::future_status::ready &&
         std::chrono::steady_clock::now() < deadline)
    g_main_context_iteration(nullptr, FALSE);
  return result.get();
}

TEST(UnixSocketControlChannelTest, WordsReachTheListenerAndItsAnswerComesBack) {
  FakeEnvironment env;
  const auto socket = UnixSocketControlChannel::besideLock(env.root() / "selvar.lock");
  EXPECT_EQ(socket.filename(), "selvar.sock");
  UnixSocketControlChannel listener(socket), sender(socket);
  std::vector<std::string> heard;
  ASSERT_TRUE(listener.listen([&heard](const std::string &word) {
    heard.push_back(word);
    return word != "dance";
  }));
  struct stat info {};
  ASSERT_EQ(::stat(socket.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u) << "other users must not reach the socket";

  EXPECT_EQ(sendWhileServing(sender, "toggle").outcome, ControlDelivery::delivered);
  EXPECT_EQ(sendWhileServing(sender, "dance").outcome, ControlDelivery::notUnderstood);
  EXPECT_EQ(heard, (std::vector<std::string>{"toggle", "dance"}));
}

TEST(UnixSocketControlChannelTest, NoListenerMeansNoRunningCopyAndALeftoverFileIsReplaced) {
  FakeEnvironment env;
  const auto socket = env.root() / "selvar.sock";
  UnixSocketControlChannel sender(socket);
  EXPECT_EQ(sender.send("toggle").outcome, ControlDelivery::noRunningCopy); // no file

  leaveSocketFileBehind(socket); // as a copy that crashed does
  EXPECT_EQ(sender.send("toggle").outcome, ControlDelivery::noRunningCopy);

  UnixSocketControlChannel next(socket);
  bool heard = false;
  ASSERT_TRUE(next.listen([&heard](const std::string &) { return heard = true; }));
  EXPECT_EQ(sendWhileServing(sender, "start").outcome, ControlDelivery::delivered);
  EXPECT_TRUE(heard);
}

TEST(UnixSocketControlChannelTest, APathTooLongForASocketIsRefusedWithAReason) {
  FakeEnvironment env;
  const std::filesystem::path socket = "/tmp/" + std::string(120, 'x') + "/selvar.sock";
  UnixSocketControlChannel channel(socket);
  EXPECT_FALSE(channel.listen([](const std::string &) { return true; }));
  ControlSendResult sent = channel.send("toggle");
  EXPECT_EQ(sent.outcome, ControlDelivery::failed);
  EXPECT_NE(sent.detail.find("too long"), std::string::npos);
}

} // namespace
} // namespace selvar
