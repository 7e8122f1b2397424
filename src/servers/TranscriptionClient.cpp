#include "servers/TranscriptionClient.h"

#include "records/Log.h"
#include "support/Time.h"
#include "support/Unicode.h"
#include "support/Uuid.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace selvar::TranscriptionClient {

namespace {

// No transcript of one utterance comes near this; anything larger is not a transcript.
constexpr std::size_t kMaxReplyBytes = 4u << 20;

void appendField(std::string &body, const std::string &boundary, std::string_view name,
                 std::string_view value) {
  body += "--" + boundary + "\r\n";
  body += "Content-Disposition: form-data; name=\"";
  body += name;
  body += "\"\r\n\r\n";
  body += value;
  body += "\r\n";
}

using Failure = ServerResult<std::string>;

} // namespace

std::string makeBoundary() {
  return "selvar-" + makeUuidString();
}

std::string multipartBody(const std::string &boundary, const Job &job, bool sendModel) {
  const std::string &audio = job.audio ? *job.audio : std::string();
  std::string body;
  body.reserve(audio.size() + 1024 + job.prompt.size());
  if (sendModel && !job.endpoint.model.empty())
    appendField(body, boundary, "model", job.endpoint.model);
  if (!job.language.empty()) appendField(body, boundary, "language", job.language);
  if (!job.prompt.empty()) appendField(body, boundary, "prompt", job.prompt);
  appendField(body, boundary, "response_format", "json");
  body += "--" + boundary + "\r\n";
  body += "Content-Disposition: form-data; name=\"file\"; filename=\"audio.wav\"\r\n";
  body += "Content-Type: audio/wav\r\n\r\n";
  body += audio;
  body += "\r\n";
  body += "--" + boundary + "--\r\n";
  return body;
}

ServerResult<std::string> parseReply(const std::string &body, int status) {
  std::string text;
  auto json = nlohmann::json::parse(body, nullptr, false);
  if (json.is_object() && json.contains("text") && json["text"].is_string()) {
    text = json["text"].get<std::string>();
  } else if (isValidUtf8(body)) {
    text = body;
  } else {
    Log::write(fmt::format("transcription reply is neither json nor text ({} bytes)", body.size()));
    return Failure::failure(ServerError::badResponse(status));
  }
  text = trimWhitespace(text);
  if (text.empty()) return Failure::failure(ServerError::emptyText());
  return Failure::success(std::move(text));
}

void attemptTranscribe(const Job &job, const Attempt &attempt, Completion completion) {
  auto url = job.endpoint.url(attempt.path);
  if (!url) return completion(Failure::failure(ServerError::notRunning()));
  std::string boundary = makeBoundary();
  HttpRequest request;
  request.method = "POST";
  request.url = *url;
  request.headers = {{"Content-Type", "multipart/form-data; boundary=" + boundary}};
  request.body = multipartBody(boundary, job, attempt.sendModel);
  request.timeoutSeconds = job.timeoutSeconds;
  request.maxReplyBytes = kMaxReplyBytes;
  double started = monotonicNow();
  HttpClient::shared().send(
      std::move(request),
      [id = job.endpoint.id, started, completion = std::move(completion)](HttpReply reply) {
        if (reply.error) return completion(Failure::failure(*reply.error));
        Log::write(fmt::format("transcription: {} answered {} in {} ms", id, reply.status,
                               std::lround((monotonicNow() - started) * 1000)));
        if (!reply.isSuccess())
          return completion(Failure::failure(ServerError::badResponse(reply.status)));
        completion(parseReply(reply.body, reply.status));
      });
}

void tryNext(Job job, std::vector<Attempt> attempts, Completion completion) {
  if (attempts.empty()) return completion(Failure::failure(ServerError::notRunning()));
  Attempt first = attempts.front();
  attempts.erase(attempts.begin());
  auto shared = std::make_shared<Job>(std::move(job));
  attemptTranscribe(*shared, first,
                    [shared, attempts = std::move(attempts),
                     completion = std::move(completion)](ServerResult<std::string> result) mutable {
                      if (result.ok() || attempts.empty()) return completion(std::move(result));
                      tryNext(std::move(*shared), std::move(attempts), std::move(completion));
                    });
}

} // namespace selvar::TranscriptionClient
