#include "servers/RewriteEndpoint.h"

#include <gtest/gtest.h>

namespace selvar {
namespace {

TEST(RewriteEndpointTest, BaseURLsAsServersPrintThem) {
  struct Case {
    const char *text;
    const char *parsed; // nullptr: refused
  } cases[] = {
      {"http://127.0.0.1:8021", "http://127.0.0.1:8021"},
      {" HTTP://LocalHost:11434/ ", "http://localhost:11434"},
      {"http://127.0.0.1:1234/v1", "http://127.0.0.1:1234"},
      {"http://127.0.0.1:1234/v1/", "http://127.0.0.1:1234"},
      {"http://[::1]:8080", "http://[::1]:8080"},
      {"https://llm.example.org", "https://llm.example.org:443"},
      {"http://box.lan", "http://box.lan:80"},
      {"127.0.0.1:8021", nullptr},
      {"ftp://127.0.0.1:21", nullptr},
      {"http://127.0.0.1:8021/v1/chat/completions", nullptr},
      {"http://user@127.0.0.1:8021", nullptr},
      {"http://127.0.0.1:0", nullptr},
      {"http://127.0.0.1:65536", nullptr},
      {"http://127.0.0.1:", nullptr},
      {"http://127.0.0.1:80a", nullptr},
      {"http://", nullptr},
      {"http://[::1", nullptr},
      {"", nullptr},
  };
  for (const auto &c : cases) {
    auto url = RewriteEndpoint::parseBaseURL(c.text);
    if (!c.parsed) {
      EXPECT_FALSE(url) << c.text;
    } else {
      ASSERT_TRUE(url) << c.text;
      EXPECT_EQ(url->text, c.parsed);
    }
  }
}

TEST(RewriteEndpointTest, LoopbackHosts) {
  for (const char *host : {"127.0.0.1", "127.1.2.3", "localhost", "LOCALHOST", "::1"})
    EXPECT_TRUE(RewriteEndpoint::isLoopbackHost(host)) << host;
  for (const char *host : {"127.0.0.1.example.org", "128.0.0.1", "127.0.0.256", "127.0.0",
                           "localhost.example.org", "10.0.0.2", "0.0.0.0", ""})
    EXPECT_FALSE(RewriteEndpoint::isLoopbackHost(host)) << host;
}

TEST(RewriteEndpointTest, OtherMachinesNeedConsent) {
  auto builtIn = RewriteEndpoint::resolve("", "", false);
  ASSERT_TRUE(builtIn.endpoint);
  EXPECT_EQ(builtIn.endpoint->url("/v1/models"), "http://127.0.0.1:8021/v1/models");
  EXPECT_EQ(builtIn.endpoint->model, LocalServer::rewriteEndpoint().model);
  EXPECT_EQ(builtIn.endpoint->id, LocalServer::kRewriteID);

  auto ollama = RewriteEndpoint::resolve("http://localhost:11434/v1", " llama3.2:1b ", false);
  ASSERT_TRUE(ollama.endpoint);
  EXPECT_EQ(ollama.endpoint->url("/v1/chat/completions"),
            "http://localhost:11434/v1/chat/completions");
  EXPECT_EQ(ollama.endpoint->model, "llama3.2:1b");

  auto remote = RewriteEndpoint::resolve("http://10.0.0.2:8021", "", false);
  EXPECT_FALSE(remote.endpoint);
  EXPECT_NE(remote.problem.find("not on this machine"), std::string::npos) << remote.problem;
  auto allowed = RewriteEndpoint::resolve("http://10.0.0.2:8021", "", true);
  ASSERT_TRUE(allowed.endpoint);
  EXPECT_EQ(allowed.endpoint->url(""), "http://10.0.0.2:8021");

  auto broken = RewriteEndpoint::resolve("127.0.0.1:8021", "", true);
  EXPECT_FALSE(broken.endpoint);
  EXPECT_NE(broken.problem.find("is not a base URL"), std::string::npos) << broken.problem;
}

} // namespace
} // namespace selvar
