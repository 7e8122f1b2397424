#pragma once
// The optional last text stage: a local chat-completions model fixes punctuation, names and
// homophones. Its reply is screened so that an answer instead of a correction never lands.

#include "servers/LocalServer.h"
#include "servers/ServerError.h"

#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace selvar::RewriteClient {

extern const char *const kSystemPrompt;

struct Rewrite {
  std::string text;      // to insert: the original when the reply was screened out
  bool rejected = false; // the reply was screened out
};

// The text to insert, or why there is none. May run on any thread.
using Completion = std::function<void(ServerResult<Rewrite>)>;

// Sends the text with the endpoint's model; see attemptRewrite.
void rewrite(const std::string &text, const LocalServer::Endpoint &endpoint, double timeout,
             Completion completion);
// One exchange; a whitespace-only reply to a request that named the model is retried once
// without "model".
void attemptRewrite(const std::string &text, const LocalServer::Endpoint &endpoint, double timeout,
                    bool sendModel, Completion completion);

// Half the text's characters when it has more than 127, else 64.
int maxTokens(std::string_view text);
// "choices"[0]."message"."content" of a chat-completions reply, when it is a string.
std::optional<std::string> replyContent(const std::string &body);
nlohmann::json requestObject(std::string_view text, const LocalServer::Endpoint &endpoint,
                             bool sendModel);
// Trims, drops one known prefix and one pair of wrapping quotes, and returns the result only
// when its length is within (0.5, 2.0) of the original's; otherwise the original. The client
// screens replies more strictly (RewriteScreen); this is the length rule alone.
std::string parseRewrite(std::string_view reply, std::string_view original);

} // namespace selvar::RewriteClient
