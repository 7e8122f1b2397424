#include "servers/TranscriptionClient.h"

#include "platform/fake/FakeEnvironment.h"
#include "servers/TestServers.h"

#include <gtest/gtest.h>
#include <set>

namespace selvar {
namespace {

using testing::RefusingPort;
using testing::TestHttpServer;
using Result = ServerResult<std::string>;

class TranscriptionClientTest : public ::testing::Test {
protected:
  TranscriptionClient::Job job(int port) {
    TranscriptionClient::Job j;
    j.audio = std::make_shared<const std::string>(wav);
    j.endpoint = LocalServer::transcriptionEndpoint();
    j.endpoint.port = port;
    j.timeoutSeconds = 2;
    return j;
  }

  Result run(TranscriptionClient::Job j, std::vector<TranscriptionClient::Attempt> attempts = {
                                             {TranscriptionClient::kTranscriptionPath, true}}) {
    std::mutex m;
    std::optional<Result> got;
    int calls = 0;
    TranscriptionClient::tryNext(std::move(j), std::move(attempts), [&](Result r) {
      std::lock_guard lock(m);
      ++calls;
      got = std::move(r);
    });
    EXPECT_TRUE(testing::waitFor([&] {
      std::lock_guard lock(m);
      return got.has_value();
    }));
    std::lock_guard lock(m);
    EXPECT_EQ(calls, 1);
    return got.value_or(Result::failure(ServerError::notRunning()));
  }

  FakeEnvironment env;
  TestHttpServer server;
  std::string wav = std::string("RIFF\0\0\0\0WAVE", 12) + std::string(100, '\x7f');
};

// The boundary in a raw request head; "selvar-" and a UUID string.
std::string boundaryIn(const std::string &head) {
  const std::string key = "Content-Type: multipart/form-data; boundary=";
  auto at = head.find(key);
  if (at == std::string::npos) return {};
  return head.substr(at + key.size(), head.find("\r\n", at) - at - key.size());
}

std::string field(const std::string &boundary, const std::string &name, const std::string &value) {
  return "--" + boundary + "\r\nContent-Disposition: form-data; name=\"" + name + "\"\r\n\r\n" +
         value + "\r\n";
}

TEST_F(TranscriptionClientTest, MultipartBodyIsExactAndLeavesOutEmptyFields) {
  testing::RawCaptureServer raw(R"({"text":"ok"})");
  struct Case {
    bool sendModel;
    std::string language, prompt;
  } cases[] = {{true, "de", "Selvar, Kubernetes"}, {false, "", ""}, {true, "", "p"}};
  for (const auto &c : cases) {
    auto j = job(raw.port());
    j.language = c.language;
    j.prompt = c.prompt;
    EXPECT_TRUE(run(j, {{TranscriptionClient::kTranscriptionPath, c.sendModel}}).ok());
  }
  auto seen = raw.requests();
  ASSERT_EQ(seen.size(), 3u);
  std::set<std::string> boundaries;
  for (std::size_t i = 0; i < seen.size(); ++i) {
    EXPECT_TRUE(seen[i].first.starts_with("POST /v1/audio/transcriptions HTTP/1.1\r\n"));
    std::string b = boundaryIn(seen[i].first);
    ASSERT_TRUE(b.starts_with("selvar-") && b.size() == 43) << seen[i].first;
    boundaries.insert(b);
    const Case &c = cases[i];
    std::string expected;
    if (c.sendModel) expected += field(b, "model", "mlx-community/whisper-large-v3-turbo");
    if (!c.language.empty()) expected += field(b, "language", c.language);
    if (!c.prompt.empty()) expected += field(b, "prompt", c.prompt);
    expected += field(b, "response_format", "json");
    expected += "--" + b +
                "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"audio.wav\"\r\n"
                "Content-Type: audio/wav\r\n\r\n" +
                wav + "\r\n--" + b + "--\r\n";
    EXPECT_EQ(seen[i].second, expected) << i;
    EXPECT_EQ(seen[i].first.find("Expect:"), std::string::npos);
  }
  EXPECT_EQ(boundaries.size(), 3u); // fresh for every request
}

TEST_F(TranscriptionClientTest, RepliesBecomeTranscriptsOrNamedFailures) {
  struct Case {
    std::string path;
    int status;
    std::string body;
    std::optional<std::string> text;
    std::optional<ServerError> error;
  } cases[] = {
      {"/json", 200, R"({"text":"  hello there \n"})", "hello there", {}},
      {"/plain", 200, "plain words\n", "plain words", {}},
      {"/other-json", 200, R"({"segments":[]})", R"({"segments":[]})", {}},
      {"/spaces", 200, R"({"text":"   "})", {}, ServerError::emptyText()},
      {"/empty", 200, "", {}, ServerError::emptyText()},
      {"/binary", 200, std::string("\xff\xfe\x00\x01", 4), {}, ServerError::badResponse(200)},
      {"/missing", 404, "no", {}, ServerError::badResponse(404)},
      {"/invalid", 422, "{}", {}, ServerError::badResponse(422)},
      {"/crash", 500, "boom", {}, ServerError::badResponse(500)},
      {"/loading", 503, "", {}, ServerError::badResponse(503)},
  };
  for (const auto &c : cases)
    server.reply(c.path, c.status, c.body, "text/plain");
  int port = server.start();
  for (const auto &c : cases) {
    Result r = run(job(port), {{c.path, true}});
    if (c.text) {
      ASSERT_TRUE(r.ok()) << c.path;
      EXPECT_EQ(r.value(), *c.text) << c.path;
    } else {
      ASSERT_FALSE(r.ok()) << c.path;
      EXPECT_EQ(std::get<ServerError>(r.error()), *c.error) << c.path;
    }
  }
  EXPECT_NE(testing::logText().find("server-transcription answered 422"), std::string::npos);
}

TEST_F(TranscriptionClientTest, AttemptsRunInOrderUntilOneSucceeds) {
  server.reply("/v1/audio/transcriptions", 404, "");
  server.reply("/old/transcribe", 503, "");
  server.reply("/inference", 200, R"({"text":"third time"})");
  int port = server.start();
  Result r = run(job(port), {{"/v1/audio/transcriptions", true},
                             {"/old/transcribe", false},
                             {"/inference", false},
                             {"/never", true}});
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(r.value(), "third time");
  auto seen = server.requests();
  ASSERT_EQ(seen.size(), 3u);
  EXPECT_EQ(seen[0].path, "/v1/audio/transcriptions");
  EXPECT_EQ(seen[2].path, "/inference");
  using Fields = std::vector<std::string>;
  EXPECT_EQ(seen[0].formFields, (Fields{"file", "model", "response_format"}));
  EXPECT_EQ(seen[1].formFields, (Fields{"file", "response_format"}));

  Result last = run(job(port), {{"/v1/audio/transcriptions", true}, {"/old/transcribe", true}});
  EXPECT_EQ(std::get<ServerError>(last.error()), ServerError::badResponse(503));
  RefusingPort refused;
  Result down = run(job(refused.port()));
  EXPECT_EQ(std::get<TransportError>(down.error()).kind, TransportError::Kind::cannotConnect);
}

} // namespace
} // namespace selvar
