#include "servers/ServerSession.h"

#include "platform/fake/FakeEnvironment.h"
#include "servers/RecordingHttpSender.h"
#include "servers/TestServers.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace selvar {
namespace {

using testing::RecordingHttpSender;
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
    env.queue.advance(ServerSession::kPumpInterval);
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

// The audio thread only fills the session's ring; the requests come from the main queue's
// timer and the HTTP thread's completions, so nothing on the audio thread allocates a request
// or waits for the HTTP worker's lock.
class ServerSessionThreadTest : public ::testing::Test {
protected:
  std::shared_ptr<ServerSession> openSession() {
    auto session =
        ServerSession::open(LocalServer::transcriptionEndpoint(), "", "", http, &env.queue);
    http.answerNext(201, R"({"id":"s1"})");
    return session;
  }
  void appendOnAudioThread(ServerSession &session, std::size_t samples, std::int16_t first = 0) {
    std::thread audio([&] {
      audioThread = std::this_thread::get_id();
      for (std::size_t at = 0; at < samples; at += 500) {
        std::vector<std::int16_t> block(std::min<std::size_t>(500, samples - at));
        for (std::size_t i = 0; i < block.size(); ++i)
          block[i] = static_cast<std::int16_t>(first + at + i);
        session.append(block);
      }
    });
    audio.join();
  }
  std::vector<std::string> urls() const {
    std::vector<std::string> seen;
    for (const auto &sent : http.sent())
      seen.push_back(sent.request.method + " " +
                     sent.request.url.substr(sent.request.url.find("/v1")));
    return seen;
  }

  FakeEnvironment env;
  RecordingHttpSender http;
  std::thread::id audioThread;
};

TEST_F(ServerSessionThreadTest, ChunksAreMadeOnTheMainQueueAndTheHttpThreadNeverOnTheAudioThread) {
  auto session = openSession();
  appendOnAudioThread(*session, 3 * ServerSession::kChunkSamples);
  EXPECT_EQ(http.count(), 1u); // the open; the audio waits in the ring
  env.queue.advance(ServerSession::kPumpInterval);
  ASSERT_EQ(http.count(), 2u); // all that piled up goes as one chunk
  appendOnAudioThread(*session, ServerSession::kChunkSamples / 2, 12000);
  EXPECT_TRUE(http.answerNext(204)); // less than a chunk waits: the completion sends nothing
  env.queue.advance(ServerSession::kPumpInterval);
  EXPECT_EQ(http.count(), 2u);
  std::optional<Result> result;
  session->finish(5, [&](Result r) { result = std::move(r); }); // the rest goes at once
  EXPECT_TRUE(http.answerNext(204));
  EXPECT_TRUE(http.answerNext(200, R"({"text":"said"})"));
  ASSERT_TRUE(result && result->ok());
  EXPECT_EQ(result->value(), "said");

  EXPECT_EQ(urls(), (std::vector<std::string>{"POST /v1/sessions", "PUT /v1/sessions/s1/audio/0",
                                              "PUT /v1/sessions/s1/audio/1",
                                              "POST /v1/sessions/s1/finish"}));
  auto sent = http.sent();
  std::string audio = sent[1].request.body + sent[2].request.body;
  ASSERT_EQ(audio.size(), 14000u * 2);
  for (std::size_t i = 0; i < 14000; ++i)
    ASSERT_EQ(static_cast<std::uint8_t>(audio[2 * i]) | static_cast<std::uint8_t>(audio[2 * i + 1])
                                                            << 8,
              i);
  for (const auto &request : sent)
    EXPECT_NE(request.thread, audioThread) << request.request.url;
  EXPECT_EQ(env.queue.pendingCount(), 0u); // no timer outlives the streaming
}

// A server that stops taking chunks must not make the ring grow without bound: once it is
// full the session fails, ends on the server and sends the caller to the whole file.
TEST_F(ServerSessionThreadTest, ASessionThatFallsBehindFailsAndEndsOnTheServer) {
  auto session = openSession();
  appendOnAudioThread(*session, ServerSession::kChunkSamples);
  env.queue.advance(ServerSession::kPumpInterval); // chunk 0, never answered
  appendOnAudioThread(*session, ServerSession::kBufferSamples + 1);
  std::optional<Result> result;
  session->finish(5, [&](Result r) { result = std::move(r); });
  EXPECT_FALSE(result); // the chunk under way decides
  EXPECT_TRUE(http.answerNext(204));
  ASSERT_TRUE(result && !result->ok());
  EXPECT_EQ(describe(result->error()), "the session fell behind the audio");
  EXPECT_EQ(urls().back(), "DELETE /v1/sessions/s1");
  EXPECT_EQ(http.count(), 3u);
}

} // namespace
} // namespace selvar
