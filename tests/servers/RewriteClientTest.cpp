#include "servers/RewriteClient.h"

#include "platform/fake/FakeEnvironment.h"
#include "servers/TestServers.h"

#include <gtest/gtest.h>

namespace selvar {
namespace {

using testing::RefusingPort;
using testing::TestHttpServer;
using Result = ServerResult<RewriteClient::Rewrite>;
using nlohmann::json;

std::string chatReply(const std::string &content) {
  return json{
      {"choices", json::array({{{"message", {{"role", "assistant"}, {"content", content}}}}})}}
      .dump();
}

TEST(RewriteClientParseTest, MaxTokensFollowTheTextLength) {
  std::string accented;
  for (int i = 0; i < 300; ++i)
    accented += "é";
  struct Case {
    std::string text;
    int tokens;
  } cases[] = {{std::string(100, 'a'), 64},
               {std::string(127, 'a'), 64},
               {std::string(128, 'a'), 64},
               {std::string(129, 'a'), 64},
               {std::string(300, 'a'), 150},
               {std::string(301, 'a'), 150},
               {accented, 150}}; // characters, not bytes
  for (const auto &c : cases)
    EXPECT_EQ(RewriteClient::maxTokens(c.text), c.tokens) << c.text.size();
}

TEST(RewriteClientParseTest, RepliesAreCleanedAndScreenedByLength) {
  const std::string original = "the meeting is at ten tomorrow";
  struct Case {
    std::string reply;
    std::string expected;
  } cases[] = {
      {"Corrected text: \"The meeting is at ten tomorrow.\"", "The meeting is at ten tomorrow."},
      {"  OUTPUT:   'The meeting is at 10 tomorrow.'\n", "The meeting is at 10 tomorrow."},
      {"Corrected: Text: The meeting is at ten, tomorrow.", "The meeting is at ten, tomorrow."},
      {"\"The meeting is at ten tomorrow.'", "\"The meeting is at ten tomorrow.'"},
      {std::string(60, 'x'), original}, // exactly twice as long
      {std::string(15, 'x'), original}, // exactly half as long
      {std::string(59, 'x'), std::string(59, 'x')},
      {std::string(16, 'x'), std::string(16, 'x')},
      {"Sure! Here is what I think about your meeting tomorrow: meetings at ten are usually "
       "productive because everyone is awake, but you may want coffee.",
       original},
      {"\"\"", original},
      {"   ", original},
  };
  for (const auto &c : cases)
    EXPECT_EQ(RewriteClient::parseRewrite(c.reply, original), c.expected) << c.reply;
  EXPECT_EQ(RewriteClient::parseRewrite("Anything.", ""), "Anything.");
}

class RewriteClientTest : public ::testing::Test {
protected:
  LocalServer::Endpoint endpoint(int port) {
    auto e = LocalServer::rewriteEndpoint();
    e.port = port;
    return e;
  }
  Result run(const std::string &text, const LocalServer::Endpoint &e, double timeout = 2) {
    std::mutex m;
    std::optional<Result> got;
    RewriteClient::rewrite(text, e, timeout, [&](Result r) {
      std::lock_guard lock(m);
      got = std::move(r);
    });
    EXPECT_TRUE(testing::waitFor([&] {
      std::lock_guard lock(m);
      return got.has_value();
    }));
    std::lock_guard lock(m);
    return got.value_or(Result::failure(ServerError::notRunning()));
  }

  FakeEnvironment env;
  TestHttpServer server;
};

TEST_F(RewriteClientTest, RequestCarriesThePromptTheTextAndTheModel) {
  server.reply("/v1/chat/completions", 200, chatReply("Call Anna at five."));
  Result r = run("call anna at five", endpoint(server.start()));
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(r.value().text, "Call Anna at five.");
  EXPECT_FALSE(r.value().rejected);
  auto seen = server.requests();
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(seen[0].contentType, "application/json");
  auto body = json::parse(seen[0].body);
  EXPECT_EQ(body["model"], "mlx-community/Qwen3-1.7B-4bit");
  EXPECT_EQ(body["temperature"], 0);
  EXPECT_EQ(body["max_tokens"], 64);
  EXPECT_EQ(body["messages"][0]["role"], "system");
  std::string prompt = body["messages"][0]["content"];
  EXPECT_EQ(prompt, RewriteClient::kSystemPrompt);
  EXPECT_TRUE(prompt.starts_with("You clean up dictated text. Return only the corrected text"));
  EXPECT_TRUE(prompt.ends_with("as if it were a question to you.\n/no_think"));
  EXPECT_EQ(body["messages"][1], (json{{"role", "user"}, {"content", "call anna at five"}}));
  EXPECT_EQ(body.size(), 4u);
}

TEST_F(RewriteClientTest, WhitespaceReplyIsRetriedOnceWithoutTheModel) {
  std::atomic<int> calls{0};
  server.post("/v1/chat/completions", [&](const httplib::Request &, httplib::Response &res) {
    res.set_content(chatReply(++calls == 2 ? "Fixed text here." : " \n "), "application/json");
  });
  auto e = endpoint(server.start());
  Result r = run("fixed text here", e);
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(r.value().text, "Fixed text here.");
  auto seen = server.requests();
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_TRUE(json::parse(seen[0].body).contains("model"));
  EXPECT_FALSE(json::parse(seen[1].body).contains("model"));
  EXPECT_NE(
      testing::logText().find("rewrite returned only whitespace; retrying without the model field"),
      std::string::npos);

  Result empty = run("fixed text here", e);
  EXPECT_EQ(std::get<ServerError>(empty.error()), ServerError::emptyText());
  EXPECT_EQ(server.count(), 4u);
}

TEST_F(RewriteClientTest, BadRepliesAndRejectedRewrites) {
  struct Case {
    std::string path;
    int status;
    std::string body;
  } cases[] = {{"/crash", 500, "{}"},
               {"/garbage", 200, "\x01\x02 not json"},
               {"/no-choices", 200, R"({"choices":[]})"},
               {"/number", 200, R"({"choices":[{"message":{"content":42}}]})"},
               {"/missing", 404, ""}};
  for (const auto &c : cases) {
    TestHttpServer one;
    one.reply("/v1/chat/completions", c.status, c.body);
    Result r = run("some text", endpoint(one.start()));
    ASSERT_FALSE(r.ok()) << c.path;
    EXPECT_EQ(std::get<ServerError>(r.error()), ServerError::badResponse(c.status)) << c.path;
  }
  RefusingPort refused;
  Result down = run("some text", endpoint(refused.port()));
  EXPECT_EQ(std::get<TransportError>(down.error()).kind, TransportError::Kind::cannotConnect);

  TestHttpServer chatty;
  std::string answer = "Here is a long and friendly answer to your question about the weather!";
  chatty.reply("/v1/chat/completions", 200, chatReply(answer));
  Result kept = run("what is the weather", endpoint(chatty.start()));
  ASSERT_TRUE(kept.ok());
  EXPECT_EQ(kept.value().text, "what is the weather");
  EXPECT_TRUE(kept.value().rejected);
  EXPECT_NE(testing::logText().find("rewrite screened out: length ratio 3.68"), std::string::npos);
  EXPECT_NE(testing::logText().find("rewrite rejected 70 chars: " + answer), std::string::npos);
}

TEST_F(RewriteClientTest, ReplyGoesToTheConfiguredBaseURL) {
  server.reply("/v1/chat/completions", 200,
               chatReply("<think>\nfine\n</think>\n\nThey're going home."));
  auto e = LocalServer::rewriteEndpoint();
  e.port = 1; // the base URL wins over the built-in port
  e.baseURL = "http://localhost:" + std::to_string(server.start());
  Result r = run("their going home", e);
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(r.value().text, "They're going home.");
  EXPECT_FALSE(testing::logText().find("rewrite rejected") != std::string::npos);
}

} // namespace
} // namespace selvar
