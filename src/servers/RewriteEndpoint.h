#pragma once
// Where the rewrite stage sends text: the built-in 127.0.0.1:8021, or any chat-completions
// server the user names by base URL and model id (a llama.cpp server, Ollama, LM Studio).
// Dictated text is private, so a server on another machine is only used when the user has
// said so explicitly.

#include "servers/LocalServer.h"

#include <optional>
#include <string>
#include <string_view>

namespace selvar::RewriteEndpoint {

inline constexpr const char *kDefaultBaseURL = "http://127.0.0.1:8021";

struct BaseURL {
  std::string scheme; // "http" or "https"
  std::string host;   // without IPv6 brackets
  int port = 0;
  std::string text; // scheme://host:port, with no path: the paths are the protocol's
};

// "http://host:port", with an optional trailing "/" or "/v1" (as servers print their address);
// nothing for anything else (a path, a user, a query, a bad port).
std::optional<BaseURL> parseBaseURL(std::string_view text);
// 127.0.0.0/8, ::1 and localhost.
bool isLoopbackHost(std::string_view host);

struct Choice {
  std::optional<LocalServer::Endpoint> endpoint;
  std::string problem; // why there is none, fit for a log line
};

// The rewrite endpoint for the user's base URL and model id (empty: the defaults). A host
// other than this machine needs allowRemote.
Choice resolve(std::string_view baseURL, std::string_view model, bool allowRemote);

} // namespace selvar::RewriteEndpoint
