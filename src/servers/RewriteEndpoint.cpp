#include "servers/RewriteEndpoint.h"

#include "support/Unicode.h"

#include <charconv>
#include <fmt/format.h>

namespace selvar::RewriteEndpoint {

namespace {

std::string lower(std::string_view s) {
  std::string out(s);
  for (char &c : out)
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

std::optional<int> parsePort(std::string_view digits) {
  int port = 0;
  auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), port);
  if (ec != std::errc() || end != digits.data() + digits.size() || port < 1 || port > 65535)
    return std::nullopt;
  return port;
}

bool validHostName(std::string_view host) {
  if (host.empty()) return false;
  for (char c : host)
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '.' && c != '-') return false;
  return true;
}

} // namespace

std::optional<BaseURL> parseBaseURL(std::string_view text) {
  std::string s = lower(trimWhitespace(text));
  BaseURL url;
  std::string_view rest(s);
  if (rest.starts_with("http://")) {
    url.scheme = "http";
  } else if (rest.starts_with("https://")) {
    url.scheme = "https";
  } else {
    return std::nullopt;
  }
  rest.remove_prefix(url.scheme.size() + 3);
  for (std::string_view tail : {"/v1/", "/v1", "/"})
    if (rest.ends_with(tail)) {
      rest.remove_suffix(tail.size());
      break;
    }
  if (rest.find_first_of("/?#@ ") != std::string_view::npos) return std::nullopt;
  std::string_view portText;
  if (rest.starts_with("[")) {
    auto close = rest.find(']');
    if (close == std::string_view::npos) return std::nullopt;
    url.host = std::string(rest.substr(1, close - 1));
    if (url.host.empty() || url.host.find_first_not_of("0123456789abcdef:.") != std::string::npos)
      return std::nullopt;
    std::string_view after = rest.substr(close + 1);
    if (!after.empty() && !after.starts_with(":")) return std::nullopt;
    if (!after.empty()) portText = after.substr(1);
  } else {
    auto colon = rest.rfind(':');
    url.host = std::string(rest.substr(0, colon));
    if (colon != std::string_view::npos) portText = rest.substr(colon + 1);
    if (!validHostName(url.host)) return std::nullopt;
  }
  if (portText.empty() && rest.find(':') != std::string_view::npos && !rest.starts_with("["))
    return std::nullopt; // "host:" with nothing after it
  if (portText.empty()) {
    url.port = url.scheme == "https" ? 443 : 80;
  } else {
    auto port = parsePort(portText);
    if (!port) return std::nullopt;
    url.port = *port;
  }
  bool v6 = url.host.find(':') != std::string::npos;
  url.text =
      fmt::format("{}://{}{}{}:{}", url.scheme, v6 ? "[" : "", url.host, v6 ? "]" : "", url.port);
  return url;
}

bool isLoopbackHost(std::string_view host) {
  std::string h = lower(host);
  if (h == "localhost" || h == "::1" || h == "0:0:0:0:0:0:0:1") return true;
  if (!h.starts_with("127.")) return false;
  // Four decimal parts, each 0-255.
  int parts = 0;
  std::string_view rest(h);
  while (!rest.empty()) {
    auto dot = rest.find('.');
    std::string_view part = rest.substr(0, dot);
    int value = 0;
    auto [end, ec] = std::from_chars(part.data(), part.data() + part.size(), value);
    if (part.empty() || ec != std::errc() || end != part.data() + part.size() || value > 255)
      return false;
    ++parts;
    if (dot == std::string_view::npos) break;
    rest.remove_prefix(dot + 1);
    if (rest.empty()) return false;
  }
  return parts == 4;
}

Choice resolve(std::string_view baseURL, std::string_view model, bool allowRemote) {
  auto endpoint = LocalServer::rewriteEndpoint();
  std::string wanted = trimWhitespace(baseURL);
  if (wanted.empty()) wanted = kDefaultBaseURL;
  auto url = parseBaseURL(wanted);
  if (!url)
    return {std::nullopt, "rewrite server address \"" + wanted +
                              "\" is not a base URL such as http://127.0.0.1:8021"};
  if (!isLoopbackHost(url->host) && !allowRemote)
    return {std::nullopt, "rewrite server " + url->text +
                              " is not on this machine; dictated text is only sent there when "
                              "servers on other machines are allowed in the settings"};
  endpoint.port = url->port;
  endpoint.baseURL = url->text;
  std::string id = trimWhitespace(model);
  if (!id.empty()) endpoint.model = id;
  return {endpoint, ""};
}

} // namespace selvar::RewriteEndpoint
