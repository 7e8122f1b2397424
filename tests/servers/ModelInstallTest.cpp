#include "servers/ModelInstall.h"

#include "platform/fake/FakeEnvironment.h"
#include "servers/TestServers.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace selvar {
namespace {

using testing::RefusingPort;
using testing::TestHttpServer;
using State = ModelInstall::InstallState;
using Phase = State::Phase;

class ModelInstallTest : public ::testing::Test {
protected:
  LocalServer::Endpoint on(int port) {
    auto e = LocalServer::transcriptionEndpoint();
    e.port = port;
    return e;
  }
  FakeEnvironment env;
  TestHttpServer server;
};

TEST(ModelInstallParseTest, InstallStatesFromServerAnswers) {
  struct Case {
    const char *body;
    std::optional<State> state;
  } cases[] = {
      {R"({"state":"downloading","bytes":1048576,"total":4194304})",
       State{Phase::downloading, 1048576, 4194304, {}}},
      {R"({"state":"failed","error":"disk full","bytes":"12"})",
       State{Phase::failed, 0, 0, "disk full"}},
      {R"({"state":"ready","total":3.9e9,"error":null})", State{Phase::ready, 0, 3900000000, {}}},
      {R"({"state":"missing","bytes":-1,"error":7})", State{Phase::missing, -1, 0, {}}},
      {R"({"state":"installing"})", {}},
      {R"({"state":"Ready"})", {}},
      {R"({"phase":"ready"})", {}},
      {R"(["ready"])", {}},
      {"ready", {}},
      {"", {}},
  };
  for (const auto &c : cases)
    EXPECT_EQ(ModelInstall::parseInstallState(c.body), c.state) << c.body;
}

TEST(ModelInstallParseTest, QueryEncodingKeepsSlashesAndEncodesSpaces) {
  EXPECT_EQ(ModelInstall::percentEncodeQuery("mlx-community/whisper large v3"),
            "mlx-community/whisper%20large%20v3");
  EXPECT_EQ(ModelInstall::percentEncodeQuery("a#b%c\"ü"), "a%23b%25c%22%C3%BC");
  EXPECT_EQ(ModelInstall::percentEncodeQuery("k=v&x?y:z@~"), "k=v&x?y:z@~");
}

TEST_F(ModelInstallTest, ReadingAndStartingAnInstall) {
  server.get("/v1/install", [](const httplib::Request &, httplib::Response &res) {
    res.set_content(R"({"state":"missing"})", "application/json");
  });
  server.post("/v1/install", [](const httplib::Request &, httplib::Response &res) {
    res.set_content(R"({"state":"downloading","bytes":0,"total":100})", "application/json");
  });
  auto e = on(server.start());
  const std::string model = "mlx-community/whisper tiny";
  EXPECT_EQ(ModelInstall::request(model, "GET", 2, e), (State{Phase::missing, 0, 0, {}}));
  EXPECT_EQ(ModelInstall::request(model, "POST", 2, e), (State{Phase::downloading, 0, 100, {}}));
  auto seen = server.requests();
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(seen[0].target, "/v1/install?model=mlx-community/whisper%20tiny");
  EXPECT_EQ(seen[0].body, "");
  EXPECT_EQ(seen[1].contentType, "application/json");
  EXPECT_EQ(nlohmann::json::parse(seen[1].body), (nlohmann::json{{"model", model}}));
}

TEST_F(ModelInstallTest, ServedModelIsTheFirstListedId) {
  struct Case {
    std::string body;
    std::optional<std::string> model;
  } cases[] = {
      {R"({"object":"list","data":[{"id":"mlx-community/whisper-large-v3-turbo"},{"id":"b"}]})",
       "mlx-community/whisper-large-v3-turbo"},
      {R"({"data":[]})", {}},
      {R"({"data":[{"name":"x"}]})", {}},
      {R"({"data":{"id":"x"}})", {}},
      {"<html>gateway</html>", {}},
  };
  for (const auto &c : cases) {
    TestHttpServer one;
    one.reply("/v1/models", 200, c.body);
    EXPECT_EQ(ModelInstall::servedModel(2, on(one.start())), c.model) << c.body;
  }
}

TEST_F(ModelInstallTest, NoServerOrASlowOneGivesNothing) {
  server.get("/v1/models",
             [&](const httplib::Request &, httplib::Response &) { server.waitForRelease(); });
  server.get("/v1/install",
             [&](const httplib::Request &, httplib::Response &) { server.waitForRelease(); });
  auto slow = on(server.start());
  RefusingPort refused;
  EXPECT_FALSE(ModelInstall::servedModel(0.2, on(refused.port())));
  EXPECT_FALSE(ModelInstall::request("m", "GET", 0.2, on(refused.port())));
  EXPECT_FALSE(ModelInstall::servedModel(0.2, slow));
  EXPECT_FALSE(ModelInstall::request("m", "GET", 0.2, slow));
}

} // namespace
} // namespace selvar
