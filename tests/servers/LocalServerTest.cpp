#include "servers/LocalServer.h"

#include "platform/fake/FakeEnvironment.h"
#include "platform/fake/FakeProcessRunner.h"
#include "platform/linux/PosixProcessRunner.h"
#include "servers/ServerError.h"
#include "servers/TestServers.h"

#include <csignal>
#include <gtest/gtest.h>

namespace selvar {
namespace {

namespace fs = std::filesystem;
using testing::logText;
using testing::RefusingPort;
using testing::TestHttpServer;

bool processGone(int pid) {
  return ::kill(pid, 0) != 0 && errno == ESRCH;
}

int freePort() {
  testing::RefusingPort port; // bound only while it lives
  return port.port();
}

class LocalServerTest : public ::testing::Test {
protected:
  void SetUp() override {
    LocalServer::clearProbeCache();
    services().processes = &fakeRunner;
  }
  void TearDown() override { LocalServer::stopLaunched(); }

  LocalServer::Endpoint endpointOn(int port) {
    auto e = LocalServer::transcriptionEndpoint();
    e.port = port;
    return e;
  }

  // An interpreter at the fixed path (python3 itself, or any executable) and a resources
  // folder holding the stand-in server.
  void install(const fs::path &interpreter = "/usr/bin/python3") {
    auto python = LocalServer::interpreterPath();
    fs::create_directories(python.parent_path());
    fs::create_symlink(interpreter, python);
    env.files.resources = fs::path(SELVAR_TEST_DATA_DIR) / "servers";
  }

  // Runs start() to its answer. Each 0.5 s poll waits realPerPoll of real time, so that a
  // real child process gets real time to come up.
  std::optional<bool> runStart(const LocalServer::Endpoint &e, double timeout,
                               const std::string &model, double realPerPoll = 0) {
    std::optional<bool> result;
    started = env.queue.monotonicSeconds();
    LocalServer::start(
        timeout, model, [&](bool up) { result = up; }, e);
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    auto lastPoll = std::chrono::steady_clock::now();
    while (!result && std::chrono::steady_clock::now() < deadline) {
      if (env.queue.runUntilIdle() > 0) continue;
      auto now = std::chrono::steady_clock::now();
      if (env.queue.pendingCount() > 0 &&
          now - lastPoll >= std::chrono::duration<double>(realPerPoll)) {
        env.queue.runNext();
        lastPoll = now;
        continue;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(1)); // a probe is on the wire
    }
    return result;
  }

  FakeEnvironment env;
  FakeProcessRunner fakeRunner;
  PosixProcessRunner posixRunner;
  double started = 0;
};

TEST(ServerErrorTest, DescriptionsByStatus) {
  struct Case {
    ServerError error;
    const char *text;
  } cases[] = {
      {ServerError::badResponse(503), "the local server could not load its model"},
      {ServerError::badResponse(500), "the local server could not load its model"},
      {ServerError::badResponse(599), "the local server could not load its model"},
      {ServerError::badResponse(404), "the local server rejected the request"},
      {ServerError::badResponse(422), "the local server rejected the request"},
      {ServerError::badResponse(418), "the local server answered 418"},
      {ServerError::badResponse(600), "the local server answered 600"},
      {ServerError::badResponse(-1), "the local server answered -1"},
      {ServerError::notRunning(), "the local server is not running"},
      {ServerError::emptyText(), "the local server heard nothing"},
  };
  for (const auto &c : cases)
    EXPECT_EQ(c.error.description(), c.text);
}

TEST_F(LocalServerTest, ProbeIsTrueOnlyForA2xxAnswer) {
  TestHttpServer up, unavailable, missing, hanging;
  up.reply("/v1/models", 200, R"({"data":[]})");
  unavailable.reply("/v1/models", 503, "loading");
  hanging.get("/v1/models",
              [&](const httplib::Request &, httplib::Response &) { hanging.waitForRelease(); });
  RefusingPort refused;
  EXPECT_TRUE(LocalServer::probe(endpointOn(up.start())));
  EXPECT_FALSE(LocalServer::probe(endpointOn(unavailable.start())));
  EXPECT_FALSE(LocalServer::probe(endpointOn(missing.start())));
  EXPECT_FALSE(LocalServer::probe(endpointOn(refused.port())));
  EXPECT_FALSE(LocalServer::probe(endpointOn(hanging.start())));
  EXPECT_FALSE(LocalServer::probe(endpointOn(70000)));
}

TEST_F(LocalServerTest, IsRunningReusesAnswersYoungerThanMaxAge) {
  TestHttpServer server;
  server.reply("/v1/models", 200, "{}");
  auto e = endpointOn(server.start());
  EXPECT_TRUE(LocalServer::isRunning(e, 5));
  EXPECT_TRUE(LocalServer::isRunning(e, 5));
  EXPECT_EQ(server.count(), 1u);
  env.queue.advance(5);
  EXPECT_TRUE(LocalServer::isRunning(e, 5));
  EXPECT_EQ(server.count(), 2u);
  EXPECT_TRUE(LocalServer::isRunning(e, 0));
  EXPECT_TRUE(LocalServer::isRunning(e, 0));
  EXPECT_EQ(server.count(), 4u);
  EXPECT_FALSE(LocalServer::isRunning("no-such-server", 5));
}

TEST_F(LocalServerTest, InstalledNeedsAnExecutableInterpreterAndResources) {
  EXPECT_FALSE(LocalServer::isServerInstalled());
  auto python = LocalServer::interpreterPath();
  fs::create_directories(python.parent_path());
  std::ofstream(python) << "#!/bin/sh\n";
  env.files.resources = env.root() / "resources";
  EXPECT_FALSE(LocalServer::isServerInstalled()); // not executable
  fs::permissions(python, fs::perms::owner_exec, fs::perm_options::add);
  EXPECT_TRUE(LocalServer::isServerInstalled());
  env.files.resources.reset();
  EXPECT_FALSE(LocalServer::isServerInstalled());
}

TEST_F(LocalServerTest, StartLaunchesNothingWhenItNeedNotOrCannot) {
  TestHttpServer server;
  server.reply("/v1/models", 200, "{}");
  RefusingPort refused;
  env.files.resources = fs::path(SELVAR_TEST_DATA_DIR) / "servers";
  EXPECT_EQ(runStart(endpointOn(refused.port()), 5, "m"), false); // no interpreter
  install();
  EXPECT_EQ(runStart(endpointOn(server.start()), 5, "m"), true); // already answering
  EXPECT_TRUE(fakeRunner.launches().empty());
  fakeRunner.failWith("permission denied");
  EXPECT_EQ(runStart(endpointOn(refused.port()), 5, "m"), false);
  EXPECT_NE(logText().find("asr server launch failed: permission denied"), std::string::npos);
  EXPECT_FALSE(LocalServer::launchedPid());
}

TEST_F(LocalServerTest, StartGivesUpAtTheDeadlineAndLeavesTheServerLoading) {
  TestHttpServer loading;
  loading.reply("/v1/models", 503, "loading");
  install();
  auto e = endpointOn(loading.start());
  EXPECT_EQ(runStart(e, 2, "big-model"), false);
  double elapsed = env.queue.monotonicSeconds() - started;
  EXPECT_GE(elapsed, 2.0);
  EXPECT_LE(elapsed, 2.5);
  EXPECT_GE(loading.count(), 5u); // every 0.5 s
  auto launches = fakeRunner.launches();
  ASSERT_EQ(launches.size(), 1u);
  EXPECT_TRUE(*fakeRunner.running);
  EXPECT_TRUE(LocalServer::launchedPid());

  const ProcessSpec &spec = launches[0];
  EXPECT_EQ(spec.executable, LocalServer::interpreterPath());
  EXPECT_EQ(spec.arguments, (std::vector<std::string>{LocalServer::serverScript()->string(),
                                                      "--port", std::to_string(e.port)}));
  EXPECT_EQ(spec.environment, (decltype(spec.environment){{"SELVAR_ASR_MODEL", "big-model"}}));
  EXPECT_EQ(spec.outputFile.filename(), "asr-server.log");

  // A second start while it still loads waits for the same process.
  EXPECT_EQ(runStart(e, 1, "big-model"), false);
  EXPECT_EQ(fakeRunner.launches().size(), 1u);
}

TEST_F(LocalServerTest, LaunchesTheRealServerScriptAndStopsItWithoutAZombie) {
  if (!fs::exists("/usr/bin/python3")) GTEST_SKIP() << "no python3";
  services().processes = &posixRunner;
  install();
  auto e = endpointOn(freePort());
  EXPECT_EQ(runStart(e, 60, "tiny-model", 0.02), true);
  auto pid = LocalServer::launchedPid();
  ASSERT_TRUE(pid);
  EXPECT_TRUE(LocalServer::isRunning(e, 0));
  LocalServer::stopLaunched();
  EXPECT_TRUE(processGone(*pid));
  EXPECT_FALSE(LocalServer::launchedPid());

  std::string serverLog = testing::readAll(LocalServer::serverLogPath());
  EXPECT_NE(serverLog.find("stand-in model=tiny-model port=" + std::to_string(e.port) +
                           " cwd=" + fs::canonical(Paths::asrEnvironment()).string() + "\n"),
            std::string::npos);
  EXPECT_NE(serverLog.find("stand-in stderr"), std::string::npos);
  std::string log = logText();
  EXPECT_NE(log.find("asr server launched pid=" + std::to_string(*pid)), std::string::npos);
  EXPECT_NE(log.find("asr server stopped on quit pid=" + std::to_string(*pid)), std::string::npos);
}

TEST_F(LocalServerTest, ARealServerThatNeverAnswersKeepsRunningUntilStopped) {
  if (!fs::exists("/usr/bin/python3")) GTEST_SKIP() << "no python3";
  services().processes = &posixRunner;
  install();
  EXPECT_EQ(runStart(endpointOn(freePort()), 1, "never-ready", 0.02), false);
  auto pid = LocalServer::launchedPid();
  ASSERT_TRUE(pid);
  EXPECT_EQ(::kill(*pid, 0), 0);
  LocalServer::stopLaunched();
  EXPECT_TRUE(processGone(*pid));
}

// A llama.cpp-style server holds its model list while it generates: a probe then times out
// although the server is fine. Soon after an answer that is "busy"; long after, "down".
TEST_F(LocalServerTest, ASlowProbeSoonAfterAnAnswerIsBusyNotDown) {
  TestHttpServer server;
  std::atomic<bool> generating{false};
  server.get("/v1/models", [&](const httplib::Request &, httplib::Response &res) {
    if (generating) server.waitForRelease();
    res.set_content("{}", "application/json");
  });
  auto e = endpointOn(server.start());
  EXPECT_TRUE(LocalServer::isRunning(e, 30));
  generating = true;
  env.queue.advance(30);
  EXPECT_TRUE(LocalServer::isRunning(e, 30));
  EXPECT_TRUE(testing::logText().find("is busy: its probe timed out") != std::string::npos);
  std::optional<bool> async;
  LocalServer::checkRunning(e, 30, [&](bool up) { async = up; });
  EXPECT_TRUE(testing::waitFor([&] { return async.has_value(); }));
  EXPECT_EQ(async, true);
  EXPECT_EQ(server.count(), 3u) << "busy is never cached";

  env.queue.advance(LocalServer::kBusyWindow);
  EXPECT_FALSE(LocalServer::isRunning(e, 30));
  EXPECT_FALSE(LocalServer::isRunning(e, 30));
  EXPECT_EQ(server.count(), 4u) << "down is cached";
  server.release();
}

TEST_F(LocalServerTest, AnsweredRequestsCountAsSignsOfLife) {
  TestHttpServer server;
  server.get("/v1/models",
             [&](const httplib::Request &, httplib::Response &) { server.waitForRelease(); });
  auto e = endpointOn(server.start());
  EXPECT_FALSE(LocalServer::isRunning(e, 0)) << "never answered: a hang is down";
  LocalServer::noteAnswered(e);
  EXPECT_TRUE(LocalServer::isRunning(e, 0));
  auto moved = e;
  moved.baseURL = "http://localhost:" + std::to_string(server.port());
  EXPECT_FALSE(LocalServer::isRunning(moved, 0)) << "another address has its own history";
  server.release();
}

} // namespace
} // namespace selvar
