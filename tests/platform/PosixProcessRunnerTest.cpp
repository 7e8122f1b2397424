#include "platform/linux/PosixProcessRunner.h"

#include "platform/fake/FakeEnvironment.h"
#include "servers/TestServers.h"

#include <csignal>
#include <gtest/gtest.h>

namespace selvar {
namespace {

namespace fs = std::filesystem;

bool processGone(int pid) {
  return ::kill(pid, 0) != 0 && errno == ESRCH;
}

// Gone, or dead and waiting for its parent (init, for an orphan) to reap it.
bool processDead(int pid) {
  std::string stat = testing::readAll("/proc/" + std::to_string(pid) + "/stat");
  auto close = stat.rfind(')');
  return stat.empty() || (close != std::string::npos && stat.compare(close, 3, ") Z") == 0);
}

class PosixProcessRunnerTest : public ::testing::Test {
protected:
  ProcessSpec shell(const std::string &script) {
    return {"/bin/sh", {"-c", script}, {{"SELVAR_PROBE", "from-parent"}}, output, {}};
  }
  bool outputHas(const std::string &text) {
    return testing::waitFor(
        [&] { return testing::readAll(output).find(text) != std::string::npos; });
  }

  FakeEnvironment env;
  fs::path output = env.root() / "child.log";
  PosixProcessRunner runner;
};

TEST_F(PosixProcessRunnerTest, ChildWritesBothStreamsToTheFileAndSeesItsEnvironment) {
  std::ofstream(output) << "earlier launch\n";
  auto result = runner.launch(shell("echo out $SELVAR_PROBE; echo err >&2; read x; echo x=$x"));
  ASSERT_TRUE(result.process) << result.error;
  ASSERT_TRUE(outputHas("x="));
  EXPECT_TRUE(testing::waitFor([&] { return !result.process->isRunning(); }));
  EXPECT_EQ(testing::readAll(output), "earlier launch\nout from-parent\nerr\nx=\n");
  EXPECT_TRUE(processGone(result.process->pid())); // reaped by isRunning
}

TEST_F(PosixProcessRunnerTest, ChildStartsInTheFolderItIsGivenOrInOurs) {
  ProcessSpec spec = shell("pwd -P");
  spec.workingDirectory = env.root();
  auto elsewhere = runner.launch(spec);
  ASSERT_TRUE(elsewhere.process) << elsewhere.error;
  ASSERT_TRUE(outputHas("\n"));
  spec.workingDirectory.clear();
  auto here = runner.launch(spec);
  ASSERT_TRUE(here.process) << here.error;
  EXPECT_TRUE(testing::waitFor([&] { return !here.process->isRunning(); }));
  EXPECT_EQ(testing::readAll(output),
            fs::canonical(env.root()).string() + "\n" + fs::current_path().string() + "\n");
}

TEST_F(PosixProcessRunnerTest, TerminateKillsAChildThatIgnoresTheRequestAndReapsIt) {
  auto result = runner.launch(shell("trap '' TERM; echo ready; exec sleep 30"));
  ASSERT_TRUE(result.process) << result.error;
  ASSERT_TRUE(outputHas("ready"));
  int pid = result.process->pid();
  result.process->terminate(0.1);
  EXPECT_FALSE(result.process->isRunning());
  EXPECT_TRUE(processGone(pid));
}

TEST_F(PosixProcessRunnerTest, TerminateStopsWhatTheChildStarted) {
  auto result = runner.launch(shell("sleep 30 & echo grandchild=$!; wait"));
  ASSERT_TRUE(result.process) << result.error;
  ASSERT_TRUE(outputHas("\n"));
  int grandchild = std::stoi(testing::readAll(output).substr(std::string("grandchild=").size()));
  result.process->terminate(1);
  EXPECT_TRUE(testing::waitFor([&] { return processDead(grandchild); }));
}

TEST_F(PosixProcessRunnerTest, MissingProgramFailsWithItsName) {
  auto result = runner.launch({"/nonexistent/python", {}, {}, output, {}});
  EXPECT_FALSE(result.process);
  EXPECT_NE(result.error.find("/nonexistent/python"), std::string::npos);
}

} // namespace
} // namespace selvar
