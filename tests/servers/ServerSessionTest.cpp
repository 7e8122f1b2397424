#include "servers/ServerSession.h"

#include "platform/fake/FakeEnvironment.h"
#include "servers/TestServers.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace selvar {
namespace {

using testing::TestHttpServer;
using Result = ServerResult<std::string>;

class ServerSessionTest : public ::testing::Test {
protected:
  void SetUp() override {
    server.post("/v1/sessions", [this](const httplib::Request &, httplib::Response &res) {
      if (holdOpen) server.waitForRelease();
      res.status = openStatus;
      res.set_content(R"({"id":"s1"})", "application/json");
    });
    server.put(R"(/v1/sessions/s1/audio/(\d+))",
               [this](const httplib::Request &req, httplib::Response &res) {
                 res.status = std::stoi(req.matches[1]) == refuseChunk ? 409 : 204;
               });
    server.post("/v1/sessions/s1/finish", [](const httplib::Request &, httplib::Response &res) {
      res.set_content(R"({"text":" the whole text "})", "application/json");
    });
    server.del("/v1/sessions/s1",
               [](const httplib::Request &, httplib::Response &res) { res.status = 204; });
    endpoint.port = server.start();
  }

  std::optional<Result> finish(ServerSession &session) {
    auto got = std::make_shared<std::optional<Result>>();
    auto mutex = std::make_shared<std::mutex>();
    session.finish(5, [got, mutex](Result r) {
      std::lock_guard lock(*mutex);
      *got = std::move(r);
    });
    testing::waitFor([&] {
      std::lock_guard lock(*mutex);
      return got->has_value();
    });
    std::lock_guard lock(*mutex);
    return *got;
  }
  std::vector<std::string> paths() {
    std::vector<std::string> seen;
    for (const auto &r : server.requests())
      seen.push_back(r.method + " " + r.path);
    return seen;
  }

  FakeEnvironment env;
  TestHttpServer server;
  LocalServer::Endpoint endpoint = LocalServer::transcriptionEndpoint();
  int openStatus = 201;
  int refuseChunk = -1;
  bool holdOpen = false;
};

TEST_F(ServerSessionTest, StreamsNumberedChunksInOrderAndAnswersTheWholeText) {
  auto session = ServerSession::open(endpoint, "en", "Selvar");
  std::vector<std::int16_t> sent;
  for (int block = 0; block < 10; ++block) {
    std::vector<std::int16_t> samples(1000);
    for (int i = 0; i < 1000; ++i)
      samples[i] = static_cast<std::int16_t>(block * 1000 + i - 5000);
    sent.insert(sent.end(), samples.begin(), samples.end());
    session->append(samples);
  }
  auto result = finish(*session);
  ASSERT_TRUE(result && result->ok());
  EXPECT_EQ(result->value(), "the whole text");

  auto requests = server.requests();
  ASSERT_GE(requests.size(), 3u);
  EXPECT_EQ(nlohmann::json::parse(requests[0].body),
            nlohmann::json({{"language", "en"}, {"prompt", "Selvar"}}));
  std::string audio;
  for (std::size_t i = 1; i + 1 < requests.size(); ++i) {
    EXPECT_EQ(requests[i].path, "/v1/sessions/s1/audio/" + std::to_string(i - 1));
    audio += requests[i].body;
  }
  ASSERT_EQ(audio.size(), sent.size() * 2);
  EXPECT_EQ(0, std::memcmp(audio.data(), sent.data(), audio.size()));
  EXPECT_EQ(requests.back().path, "/v1/sessions/s1/finish");
  session->cancel(); // after the answer, nothing is left to end on the server
  EXPECT_EQ(server.count(), requests.size());
}

TEST_F(ServerSessionTest, AServerWithoutSessionsIsMarkedSoTheFileGoesWhole) {
  openStatus = 404;
  auto session = ServerSession::open(endpoint, "", "");
  session->append(std::vector<std::int16_t>(8000));
  auto result = finish(*session);
  ASSERT_TRUE(result && !result->ok());
  EXPECT_EQ(std::get<ServerError>(result->error()), ServerError::badResponse(404));
  EXPECT_TRUE(session->unsupported());
  EXPECT_EQ(paths(), std::vector<std::string>{"POST /v1/sessions"});
}

TEST_F(ServerSessionTest, ARefusedChunkFailsTheSessionAndEndsItOnTheServer) {
  refuseChunk = 1;
  auto session = ServerSession::open(endpoint, "", "");
  for (int i = 0; i < 4; ++i) {
    session->append(std::vector<std::int16_t>(4000));
    testing::waitFor([&] { return server.count() >= static_cast<std::size_t>(i + 2); }, 1);
  }
  auto result = finish(*session);
  ASSERT_TRUE(result && !result->ok());
  EXPECT_EQ(std::get<ServerError>(result->error()), ServerError::badResponse(409));
  ASSERT_TRUE(testing::waitFor([&] { return paths().back() == "DELETE /v1/sessions/s1"; }));
  EXPECT_EQ(paths(),
            (std::vector<std::string>{"POST /v1/sessions", "PUT /v1/sessions/s1/audio/0",
                                      "PUT /v1/sessions/s1/audio/1", "DELETE /v1/sessions/s1"}));
}

// A session cancelled before the server even answered is still ended there once it does.
TEST_F(ServerSessionTest, CancelEndsTheSessionOnTheServerEvenBeforeItOpened) {
  holdOpen = true;
  auto session = ServerSession::open(endpoint, "", "");
  session->append(std::vector<std::int16_t>(8000));
  bool completed = false;
  session->finish(5, [&](Result) { completed = true; });
  session->cancel();
  server.release();
  ASSERT_TRUE(testing::waitFor([&] { return server.count() == 2; }));
  EXPECT_EQ(paths(), (std::vector<std::string>{"POST /v1/sessions", "DELETE /v1/sessions/s1"}));
  EXPECT_FALSE(completed);
}

} // namespace
} // namespace selvar
