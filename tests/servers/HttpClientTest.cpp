#include "servers/HttpClient.h"

#include "platform/fake/FakeEnvironment.h"
#include "servers/TestServers.h"

#include <gtest/gtest.h>

namespace selvar {
namespace {

using testing::RefusingPort;
using testing::TestHttpServer;

class HttpClientTest : public ::testing::Test {
protected:
  // Sends and waits (bounded) for the completion, recording where it ran.
  HttpReply exchange(HttpRequest request) {
    std::mutex m;
    std::optional<HttpReply> got;
    client.send(std::move(request), [&](HttpReply r) {
      std::lock_guard lock(m);
      onWorker = client.isWorkerThread();
      got = std::move(r);
    });
    EXPECT_TRUE(testing::waitFor([&] {
      std::lock_guard lock(m);
      return got.has_value();
    }));
    std::lock_guard lock(m);
    return got.value_or(HttpReply{});
  }

  FakeEnvironment env;
  TestHttpServer server;
  HttpClient client;
  bool onWorker = false;
};

TEST_F(HttpClientTest, SendsMethodHeadersAndBodyAndCompletesOnTheWorker) {
  server.post("/echo", [](const httplib::Request &req, httplib::Response &res) {
    res.status = 201;
    res.set_content("got " + req.get_header_value("X-Probe"), "text/plain");
  });
  int port = server.start();
  HttpRequest request;
  request.method = "POST";
  request.url = "http://127.0.0.1:" + std::to_string(port) + "/echo";
  request.headers = {{"X-Probe", "yes"}, {"Content-Type", "application/octet-stream"}};
  request.body = std::string("a\0b\r\n", 5);
  HttpReply reply = exchange(request);
  EXPECT_TRUE(reply.isSuccess());
  EXPECT_EQ(reply.status, 201);
  EXPECT_EQ(reply.body, "got yes");
  EXPECT_TRUE(onWorker);
  ASSERT_EQ(server.count(), 1u);
  EXPECT_EQ(server.requests()[0].body, request.body);
  EXPECT_EQ(server.requests()[0].contentType, "application/octet-stream");
}

TEST_F(HttpClientTest, TransportFailuresAreNamed) {
  server.get("/slow", [&](const httplib::Request &, httplib::Response &res) {
    server.waitForRelease();
    res.set_content("late", "text/plain");
  });
  server.reply("/huge", 200, std::string(300'000, 'x'), "text/plain");
  int port = server.start();
  RefusingPort closed;
  auto base = [](int p) { return "http://127.0.0.1:" + std::to_string(p); };
  struct Case {
    std::string url;
    std::size_t maxReply;
    TransportError::Kind kind;
  } cases[] = {
      {base(closed.port()) + "/v1/models", 1 << 20, TransportError::Kind::cannotConnect},
      {base(port) + "/slow", 1 << 20, TransportError::Kind::timedOut},
      {base(port) + "/huge", 100'000, TransportError::Kind::tooLarge},
      {"http://127.0.0.1:99999/x", 1 << 20, TransportError::Kind::invalidURL},
  };
  for (const auto &c : cases) {
    HttpRequest request;
    request.url = c.url;
    request.timeoutSeconds = 0.2;
    request.maxReplyBytes = c.maxReply;
    HttpReply reply = exchange(request);
    ASSERT_TRUE(reply.error) << c.url;
    EXPECT_EQ(reply.error->kind, c.kind) << c.url << ": " << reply.error->description;
    EXPECT_FALSE(reply.isSuccess());
  }
  HttpRequest exact;
  exact.url = base(port) + "/huge";
  exact.maxReplyBytes = 300'000;
  EXPECT_EQ(exchange(exact).body.size(), 300'000u);
}

TEST_F(HttpClientTest, ShutdownCancelsWhatIsInFlightAndWhatComesAfter) {
  server.get("/slow",
             [&](const httplib::Request &, httplib::Response &) { server.waitForRelease(); });
  int port = server.start();
  std::atomic<int> cancelled{0};
  auto count = [&](HttpReply r) {
    if (r.error && r.error->kind == TransportError::Kind::cancelled) ++cancelled;
  };
  HttpRequest request;
  request.url = "http://127.0.0.1:" + std::to_string(port) + "/slow";
  client.send(request, count);
  ASSERT_TRUE(testing::waitFor([&] { return server.count() == 1; }));
  client.shutdown();
  EXPECT_EQ(cancelled, 1);
  client.send(request, count);
  EXPECT_EQ(cancelled, 2);
}

TEST(HttpURLHostTest, AcceptsOnlyAbsoluteHttpURLs) {
  EXPECT_EQ(httpURLHost("https://feedback.example.org/v1/feedback"), "feedback.example.org");
  EXPECT_EQ(httpURLHost("http://127.0.0.1:8020/v1/models"), "127.0.0.1");
  for (const char *bad : {"not a url", "", "ftp://host/x", "/v1/feedback", "https://"})
    EXPECT_FALSE(httpURLHost(bad)) << bad;
}

} // namespace
} // namespace selvar
