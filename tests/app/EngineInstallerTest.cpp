#include "app/EngineInstaller.h"

#include "platform/fake/FakeEnvironment.h"
#include "servers/TestServers.h"

#include <gtest/gtest.h>

namespace selvar {
namespace {

using Phase = EngineInstallState::Phase;

class EngineInstallerTest : public ::testing::Test {
protected:
  void SetUp() override {
    server.post("/v1/install", [](const auto &, httplib::Response &res) {
      res.set_content(R"({"state":"downloading","bytes":1,"total":4})", "application/json");
    });
    server.get("/v1/install", [this](const auto &, httplib::Response &res) {
      res.set_content(reads++ == 0 ? R"({"state":"downloading","bytes":3,"total":4})"
                                   : R"({"state":"ready","bytes":4,"total":4})",
                      "application/json");
    });
    endpoint.port = server.start();
  }
  std::unique_ptr<EngineInstaller> installer() {
    return std::make_unique<EngineInstaller>(
        [](std::function<void()> work) { work(); },
        [this](const std::string &id, const EngineInstallState &s) {
          seen.push_back({id, s});
        },
        endpoint);
  }

  FakeEnvironment env;
  testing::TestHttpServer server;
  LocalServer::Endpoint endpoint = LocalServer::transcriptionEndpoint();
  std::atomic<int> reads{0};
  std::vector<std::pair<std::string, EngineInstallState>> seen;
};

TEST_F(EngineInstallerTest, FollowsADownloadUntilItIsReadyThenStops) {
  auto follow = installer();
  follow->install("server-transcription");
  env.queue.runUntilIdle();
  env.queue.advance(EngineInstaller::kPollInterval);
  env.queue.advance(EngineInstaller::kPollInterval);
  env.queue.advance(10);
  ASSERT_EQ(seen.size(), 3u);
  EXPECT_EQ(seen[0].first, "server-transcription");
  EXPECT_EQ(seen[0].second, (EngineInstallState{Phase::downloading, 1, 4, ""}));
  EXPECT_EQ(seen[1].second.fraction(), 0.75);
  EXPECT_EQ(seen[2].second.phase, Phase::ready);
  EXPECT_EQ(server.count(), 3u) << "no polling once the model is ready";
}

TEST_F(EngineInstallerTest, ClosingTheWindowStopsFollowing) {
  auto follow = installer();
  follow->install("server-transcription");
  env.queue.runUntilIdle();
  follow.reset();
  env.queue.advance(5);
  EXPECT_EQ(seen.size(), 1u);
  EXPECT_EQ(server.count(), 1u);
}

TEST_F(EngineInstallerTest, AnEngineWithoutAModelOrAServerThatIsDownSaysWhy) {
  auto follow = installer();
  follow->install("apple-on-device");
  follow->install("rules-only");
  EXPECT_EQ(server.count(), 0u);
  testing::RefusingPort refused;
  endpoint.port = refused.port();
  auto down = installer();
  down->install("server-transcription");
  down->refresh();
  env.queue.runUntilIdle();
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(seen[0].second,
            (EngineInstallState{Phase::failed, 0, 0, "the local server is not running"}));
  EXPECT_EQ(seen[1].second.phase, Phase::unknown) << "a read that gets no answer shows nothing";
}

} // namespace
} // namespace selvar
