#include "app/Prefs.h"
#include "feedback/FeedbackSubmitter.h"
#include "platform/fake/FakeEnvironment.h"
#include "servers/TestServers.h"
#include "support/LogText.h"

#include <gtest/gtest.h>

namespace selvar {
namespace {

namespace fs = std::filesystem;
using FeedbackSubmitter::Endpoints;
using FeedbackSubmitter::FeedbackError;
using FeedbackSubmitter::SendResult;
using testing::RefusingPort;
using testing::TestHttpServer;

FeedbackPayload fullPayload() {
  FeedbackPayload p;
  p.id = "E621E1F8-C36C-495A-93FC-0C247A3E6E5F";
  p.createdAt = "2025-03-01T14:07:09Z";
  p.appVersion = "0.1.0";
  p.build = "42";
  p.osVersion = "14.5.0";
  p.architecture = "arm64";
  p.installID = "11111111-2222-4333-8444-555555555555";
  p.kind = "bug";
  p.message = "It \"broke\" at https://x.example/a";
  p.email = "a@b.example";
  p.logs = "line 1\n\tline 2\x01";
  p.transcript = "héllo";
  return p;
}

TEST(FeedbackPayloadTest, EncodesPrettySortedWithoutEscapedSlashes) {
  const std::string expected = R"({
  "app_version" : "0.1.0",
  "architecture" : "arm64",
  "build" : "42",
  "created_at" : "2025-03-01T14:07:09Z",
  "email" : "a@b.example",
  "id" : "E621E1F8-C36C-495A-93FC-0C247A3E6E5F",
  "install_id" : "11111111-2222-4333-8444-555555555555",
  "kind" : "bug",
  "logs" : "line 1\n\tline 2\u0001",
  "message" : "It \"broke\" at https://x.example/a",
  "os_version" : "14.5.0",
  "schema" : "selvar.feedback/1",
  "transcript" : "héllo"
})";
  EXPECT_EQ(fullPayload().encoded(), expected);
  EXPECT_EQ(FeedbackPayload::decode(expected), fullPayload());

  FeedbackPayload bare = fullPayload();
  for (auto *field : {&bare.appVersion, &bare.build, &bare.osVersion, &bare.architecture,
                      &bare.email, &bare.logs, &bare.transcript})
    field->reset();
  EXPECT_EQ(bare.encoded(), R"({
  "created_at" : "2025-03-01T14:07:09Z",
  "id" : "E621E1F8-C36C-495A-93FC-0C247A3E6E5F",
  "install_id" : "11111111-2222-4333-8444-555555555555",
  "kind" : "bug",
  "message" : "It \"broke\" at https://x.example/a",
  "schema" : "selvar.feedback/1"
})");
  EXPECT_EQ(FeedbackPayload::decode(bare.encoded()), bare);
  for (const char *bad : {"", "[]", R"({"id":"x"})",
                          "{\"schema\":\"s\",\"id\":\"i\",\"created_at\":"
                          "\"c\",\"install_id\":\"n\",\"kind\":\"bug\","
                          "\"message\":\"m\",\"email\":5}"})
    EXPECT_FALSE(FeedbackPayload::decode(bad)) << bad;
}

class FeedbackTest : public ::testing::Test {
protected:
  std::string url(int port) { return "http://127.0.0.1:" + std::to_string(port) + "/v1/feedback"; }

  SendResult deliver(bool viaSubmit, const FeedbackPayload &p, const Endpoints &to) {
    std::optional<SendResult> got;
    auto done = [&](SendResult r) { got = std::move(r); };
    viaSubmit ? FeedbackSubmitter::submit(p, to, done) : FeedbackSubmitter::send(p, to, done);
    EXPECT_TRUE(testing::pumpUntil(env.queue, [&] { return got.has_value(); }));
    return got.value_or(SendResult::failure(FeedbackError::rejected(0)));
  }

  std::pair<std::size_t, std::size_t> flush(const Endpoints &to) {
    std::optional<std::pair<std::size_t, std::size_t>> counts;
    FeedbackSubmitter::flushOutbox(to, [&](std::size_t d, std::size_t k) { counts = {d, k}; });
    EXPECT_TRUE(testing::pumpUntil(env.queue, [&] { return counts.has_value(); }));
    return counts.value_or(std::pair<std::size_t, std::size_t>{99, 99});
  }

  FakeEnvironment env;
  TestHttpServer primary, fallback;
};

TEST_F(FeedbackTest, DraftBecomesPayload) {
  Log::write("launched"); // the tail of a short log leaves out its first line
  Log::write("earlier line with a path /tmp/x");
  FeedbackDraft draft{FeedbackKind::idea, "  add a dark mode\n", "", true, true, false};
  auto p = FeedbackSubmitter::payload(draft, "ID-1", "2025-03-01T14:07:09Z",
                                      [] { return std::optional<std::string>("last words"); });
  EXPECT_EQ(p.schema, "selvar.feedback/1");
  EXPECT_EQ(p.kind, "idea");
  EXPECT_EQ(p.message, "add a dark mode");
  EXPECT_FALSE(p.email);
  EXPECT_EQ(p.transcript, "last words");
  ASSERT_TRUE(p.logs);
  EXPECT_NE(p.logs->find("earlier line with a path /tmp/x"), std::string::npos);
  std::string json = p.encoded();
  for (const char *key :
       {"\"app_version\"", "\"build\"", "\"os_version\"", "\"architecture\"", "\"email\""})
    EXPECT_EQ(json.find(key), std::string::npos) << key;

  draft = {FeedbackKind::praise, "nice", "me@example.org", false, true, true};
  auto q = FeedbackSubmitter::payload(draft, "ID-2", "t", [] { return std::nullopt; });
  EXPECT_EQ(q.email, "me@example.org");
  EXPECT_FALSE(q.logs);
  EXPECT_FALSE(q.transcript);
  // What the platform reports about the machine, the build included.
  EXPECT_EQ(q.appVersion, "1.2.3");
  EXPECT_EQ(q.build, "45");
  EXPECT_EQ(q.osVersion, "14.5.0");
  EXPECT_EQ(q.architecture, "arm64");
  EXPECT_EQ(q.installID, p.installID); // generated once, then kept
  EXPECT_EQ(env.settings.stringValue(PrefKey::installID), p.installID);
}

TEST_F(FeedbackTest, EndpointPreferenceOverridesOnlyThePrimaryAndOnlyWhenItIsAURL) {
  Endpoints builtIn = FeedbackSubmitter::endpoints();
  EXPECT_TRUE(builtIn.primary.ends_with("/v1/feedback"));
  EXPECT_TRUE(builtIn.fallback.ends_with("/v1/feedback"));
  EXPECT_NE(httpURLHost(builtIn.primary), httpURLHost(builtIn.fallback));
  env.settings.setValue(PrefKey::feedbackEndpoint, std::string("not a url"));
  EXPECT_EQ(FeedbackSubmitter::endpoint(), builtIn.primary);
  env.settings.setValue(PrefKey::feedbackEndpoint, std::string("https://fb.example.org/in"));
  EXPECT_EQ(FeedbackSubmitter::endpoint(), "https://fb.example.org/in");
  EXPECT_EQ(FeedbackSubmitter::endpoints().fallback, builtIn.fallback);
}

TEST_F(FeedbackTest, TransportFailureAtThePrimaryFallsBackOnce) {
  primary.post("/v1/feedback",
               [&](const httplib::Request &, httplib::Response &) { primary.waitForRelease(); });
  fallback.reply("/v1/feedback", 201, "{}");
  int slowPort = primary.start();
  RefusingPort refused;
  Endpoints to{url(refused.port()), url(fallback.start()), 0.3};
  Endpoints slow{url(slowPort), to.fallback, 0.3};
  for (const auto &endpoints : {to, slow}) {
    SendResult r = deliver(true, fullPayload(), endpoints);
    ASSERT_TRUE(r.ok());
    EXPECT_EQ(r.value(), fullPayload().id);
  }
  EXPECT_FALSE(fs::exists(FeedbackSubmitter::outboxFile(fullPayload().id)));
  auto seen = fallback.requests();
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(seen[0].body, fullPayload().encoded());
  EXPECT_EQ(seen[0].contentType, "application/json");
  std::string log = testing::logText();
  EXPECT_NE(log.find("feedback: 127.0.0.1 failed (could not connect to the server); retrying "
                     "the fallback host"),
            std::string::npos);
  EXPECT_NE(log.find("feedback: 127.0.0.1 failed (the request timed out)"), std::string::npos);

  RefusingPort alsoRefused;
  SendResult down = deliver(false, fullPayload(), {url(refused.port()), url(alsoRefused.port())});
  ASSERT_FALSE(down.ok());
  EXPECT_EQ(std::get<TransportError>(down.error()).kind, TransportError::Kind::cannotConnect);
}

TEST_F(FeedbackTest, RejectionIsNotRetriedAndTheReportWaitsInTheOutbox) {
  primary.reply("/v1/feedback", 500, "{}");
  fallback.reply("/v1/feedback", 201, "{}");
  Endpoints to{url(primary.start()), url(fallback.start()), 2};
  SendResult r = deliver(true, fullPayload(), to);
  ASSERT_FALSE(r.ok());
  EXPECT_EQ(std::get<FeedbackError>(r.error()), FeedbackError::rejected(500));
  EXPECT_EQ(FeedbackSubmitter::describe(r.error()), "The server refused the report (HTTP 500).");
  EXPECT_EQ(fallback.count(), 0u);
  EXPECT_EQ(testing::readAll(FeedbackSubmitter::outboxFile(fullPayload().id)),
            fullPayload().encoded());
  EXPECT_FALSE(deliver(false, fullPayload(), to).ok()); // send alone keeps no copy
}

TEST_F(FeedbackTest, MovedEndpointsAreFollowedBoundedAndOnlyWithinTheScheme) {
  auto redirect = [&](const std::string &path, int status, std::string location) {
    primary.post(path, [=](const httplib::Request &req, httplib::Response &res) {
      res.status = status;
      // "//" marks an absolute address on this server, an absolute path otherwise.
      res.set_header("Location", location.starts_with("//")
                                     ? "http://" + req.get_header_value("Host") + location.substr(1)
                                     : location);
    });
  };
  redirect("/moved", 301, "/v2/feedback");
  redirect("/v2/feedback", 308, "//v3/feedback");
  primary.reply("/v3/feedback", 201, "{}");
  redirect("/loop", 308, "/loop");
  redirect("/see-other", 303, "/v3/feedback");
  redirect("/to-https", 301, "https://127.0.0.1:1/v3/feedback");
  std::string base = "http://127.0.0.1:" + std::to_string(primary.start());

  ASSERT_TRUE(deliver(false, fullPayload(), {base + "/moved", "", 2}).ok());
  auto seen = primary.requests();
  ASSERT_EQ(seen.size(), 3u);
  EXPECT_EQ(seen[2].path, "/v3/feedback");
  EXPECT_EQ(seen[2].method, "POST");
  EXPECT_EQ(seen[2].body, fullPayload().encoded());
  EXPECT_TRUE(testing::logHas("feedback: 127.0.0.1 redirected the report (HTTP 301) to 127.0.0.1"));

  struct Case {
    const char *path;
    int status;
    std::size_t requests;
  } refused[] = {{"/loop", 308, 6}, {"/see-other", 303, 1}, {"/to-https", 301, 1}};
  for (const auto &c : refused) {
    SCOPED_TRACE(c.path);
    std::size_t before = primary.count();
    SendResult r = deliver(true, fullPayload(), {base + c.path, "", 2});
    ASSERT_FALSE(r.ok());
    EXPECT_EQ(std::get<FeedbackError>(r.error()), FeedbackError::rejected(c.status));
    EXPECT_EQ(primary.count() - before, c.requests);
    EXPECT_TRUE(fs::exists(FeedbackSubmitter::outboxFile(fullPayload().id)));
  }
  EXPECT_TRUE(testing::logHas("feedback: gave up after 5 redirects"));
  EXPECT_TRUE(testing::logHas("feedback: not following the redirect (HTTP 301) from http to "
                              "https: another scheme"));
}

TEST_F(FeedbackTest, OutboxSurvivesFailedLaunchesAndEmptiesAfterDelivery) {
  FeedbackPayload a = fullPayload(), b = fullPayload();
  b.id = "SECOND";
  ASSERT_TRUE(FeedbackSubmitter::saveToOutbox(a));
  ASSERT_TRUE(FeedbackSubmitter::saveToOutbox(b));
  fs::path outbox = FeedbackSubmitter::outbox();
  std::ofstream(outbox / "broken.json") << "{ half a rep";
  std::ofstream(outbox / "notes.txt") << "not a report";

  RefusingPort p1, p2;
  EXPECT_EQ(flush({url(p1.port()), url(p2.port()), 1}),
            (std::pair<std::size_t, std::size_t>{0, 2}));
  EXPECT_EQ(flush({url(p1.port()), url(p2.port()), 1}),
            (std::pair<std::size_t, std::size_t>{0, 2}));
  EXPECT_TRUE(fs::exists(FeedbackSubmitter::outboxFile(a.id)));

  primary.reply("/v1/feedback", 200, "");
  EXPECT_EQ(flush({url(primary.start()), url(p2.port()), 1}),
            (std::pair<std::size_t, std::size_t>{2, 0}));
  EXPECT_FALSE(fs::exists(FeedbackSubmitter::outboxFile(a.id)));
  EXPECT_FALSE(fs::exists(FeedbackSubmitter::outboxFile(b.id)));
  EXPECT_TRUE(fs::exists(outbox / "broken.json"));
  EXPECT_TRUE(fs::exists(outbox / "notes.txt"));
  std::set<std::string> bodies;
  for (const auto &seen : primary.requests())
    bodies.insert(seen.body);
  EXPECT_EQ(bodies, (std::set<std::string>{a.encoded(), b.encoded()}));
  EXPECT_NE(testing::logText().find("feedback outbox: cannot read broken.json; kept"),
            std::string::npos);
}

TEST_F(FeedbackTest, OutboxFileNamesStayInsideTheOutbox) {
  FeedbackPayload p = fullPayload();
  p.id = "../../escape";
  ASSERT_TRUE(FeedbackSubmitter::saveToOutbox(p));
  EXPECT_EQ(FeedbackSubmitter::outboxFile(p.id).parent_path(), FeedbackSubmitter::outbox());
  EXPECT_EQ(FeedbackPayload::decode(testing::readAll(FeedbackSubmitter::outboxFile(p.id))), p);
  std::size_t files = 0;
  for ([[maybe_unused]] const auto &e : fs::directory_iterator(FeedbackSubmitter::outbox()))
    ++files;
  EXPECT_EQ(files, 1u); // no temporary file left behind
}

} // namespace
} // namespace selvar
