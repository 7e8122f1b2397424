#include "servers/RewriteClient.h"

#include "records/Log.h"
#include "servers/RewriteScreen.h"
#include "support/JsonWriter.h"
#include "support/Unicode.h"

#include <fmt/format.h>

namespace selvar::RewriteClient {

const char *const kSystemPrompt =
    "You clean up dictated text. Return only the corrected text, no quotes, no explanation.\n"
    "Fix only: punctuation, capitalization, obvious speech-recognition slips in names or "
    "homophones, and filler words (um, uh, like, you know). Keep every other word, the "
    "speaker's order and their tone. Never add information. Never answer the text as if it "
    "were a question to you.\n/no_think";

namespace {

constexpr std::size_t kMaxReplyBytes = 4u << 20;

using Outcome = ServerResult<Rewrite>;

void screen(const std::string &reply, const std::string &text, const Completion &completion) {
  auto verdict = RewriteScreen::screen(reply, text);
  if (verdict.accepted()) return completion(Outcome::success({std::move(verdict.text), false}));
  Log::write("rewrite screened out: " + verdict.rejection);
  Log::write(fmt::format("rewrite rejected {} chars: {}", graphemeCount(reply), reply));
  completion(Outcome::success({text, true}));
}

} // namespace

// "choices"[0]."message"."content" when it is a string.
std::optional<std::string> replyContent(const std::string &body) {
  auto json = nlohmann::json::parse(body, nullptr, false);
  if (!json.is_object()) return std::nullopt;
  auto choices = json.find("choices");
  if (choices == json.end() || !choices->is_array() || choices->empty()) return std::nullopt;
  const auto &first = (*choices)[0];
  if (!first.is_object() || !first.contains("message")) return std::nullopt;
  const auto &message = first["message"];
  if (!message.is_object() || !message.contains("content") || !message["content"].is_string())
    return std::nullopt;
  return message["content"].get<std::string>();
}

int maxTokens(std::string_view text) {
  std::size_t characters = graphemeCount(text);
  return characters > 127 ? static_cast<int>(characters / 2) : 64;
}

nlohmann::json requestObject(std::string_view text, const LocalServer::Endpoint &endpoint,
                             bool sendModel) {
  std::string user = repairUtf8(text);
  nlohmann::json body = {
      {"temperature", 0},
      {"max_tokens", maxTokens(user)},
      {"messages", nlohmann::json::array({{{"role", "system"}, {"content", kSystemPrompt}},
                                          {{"role", "user"}, {"content", user}}})},
  };
  if (sendModel && !endpoint.model.empty()) body["model"] = endpoint.model;
  return body;
}

std::string parseRewrite(std::string_view reply, std::string_view original) {
  std::string s = RewriteScreen::clean(reply);
  double ratio = RewriteScreen::lengthRatio(s, original);
  if (!s.empty() && ratio > 0.5 && ratio < 2.0) return s;
  return std::string(original);
}

void rewrite(const std::string &text, const LocalServer::Endpoint &endpoint, double timeout,
             Completion completion) {
  attemptRewrite(text, endpoint, timeout, true, std::move(completion));
}

void attemptRewrite(const std::string &text, const LocalServer::Endpoint &endpoint, double timeout,
                    bool sendModel, Completion completion) {
  auto url = endpoint.url("/v1/chat/completions");
  if (!url) return completion(Outcome::failure(ServerError::notRunning()));
  bool namesModel = sendModel && !endpoint.model.empty();
  HttpRequest request;
  request.method = "POST";
  request.url = *url;
  request.headers = {{"Content-Type", "application/json"}};
  request.body = JsonWriter::compactSorted(requestObject(text, endpoint, sendModel));
  request.timeoutSeconds = timeout;
  request.maxReplyBytes = kMaxReplyBytes;
  HttpClient::shared().send(
      std::move(request), [=, completion = std::move(completion)](HttpReply reply) {
        if (reply.status > 0) LocalServer::noteAnswered(endpoint);
        if (reply.error) return completion(Outcome::failure(*reply.error));
        if (!reply.isSuccess())
          return completion(Outcome::failure(ServerError::badResponse(reply.status)));
        auto answer = replyContent(reply.body);
        if (!answer) {
          Log::write(fmt::format("rewrite reply has no choices[0].message.content ({} bytes)",
                                 reply.body.size()));
          return completion(Outcome::failure(ServerError::badResponse(reply.status)));
        }
        if (!trimWhitespace(*answer).empty()) return screen(*answer, text, completion);
        if (!namesModel) return completion(Outcome::failure(ServerError::emptyText()));
        Log::write("rewrite returned only whitespace; retrying without the model field");
        attemptRewrite(text, endpoint, timeout, false, completion);
      });
}

} // namespace selvar::RewriteClient
