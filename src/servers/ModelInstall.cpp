#include "servers/ModelInstall.h"

#include "records/Log.h"
#include "servers/HttpClient.h"
#include "support/JsonWriter.h"

#include <cmath>
#include <fmt/format.h>
#include <limits>
#include <nlohmann/json.hpp>

namespace selvar::ModelInstall {

namespace {

// How much longer than its own timeout a caller waits for the answer.
constexpr double kWaitMargin = 0.5;
constexpr std::size_t kMaxReplyBytes = 1u << 20;

bool queryAllowed(unsigned char c) {
  if (std::isalnum(c)) return true;
  return std::string_view("!$&'()*+,-./:;=?@_~").find(static_cast<char>(c)) !=
         std::string_view::npos;
}

// A JSON number as a 64-bit integer (fractions cut off); 0 for anything else.
std::int64_t integer(const nlohmann::json &object, const char *key) {
  auto it = object.find(key);
  if (it == object.end()) return 0;
  if (it->is_number_integer()) return it->get<std::int64_t>();
  if (it->is_number_unsigned()) {
    auto u = it->get<std::uint64_t>();
    return u > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())
               ? std::numeric_limits<std::int64_t>::max()
               : static_cast<std::int64_t>(u);
  }
  if (it->is_number_float()) {
    double d = it->get<double>();
    if (!std::isfinite(d) || std::fabs(d) >= 9.2e18) return 0;
    return static_cast<std::int64_t>(d);
  }
  return 0;
}

HttpReply exchange(HttpRequest request, double timeout) {
  request.timeoutSeconds = timeout;
  request.maxReplyBytes = kMaxReplyBytes;
  return HttpClient::shared().sendAndWait(std::move(request), timeout + kWaitMargin);
}

} // namespace

std::string percentEncodeQuery(std::string_view text) {
  std::string out;
  for (unsigned char c : text) {
    if (queryAllowed(c))
      out += static_cast<char>(c);
    else
      out += fmt::format("%{:02X}", c);
  }
  return out;
}

std::optional<InstallState> parseInstallState(const std::string &body) {
  auto json = nlohmann::json::parse(body, nullptr, false);
  if (!json.is_object() || !json.contains("state") || !json["state"].is_string())
    return std::nullopt;
  auto phase = fromRawValue<InstallState::Phase>(json["state"].get<std::string>());
  if (!phase) return std::nullopt;
  InstallState state;
  state.phase = *phase;
  state.bytes = integer(json, "bytes");
  state.total = integer(json, "total");
  if (json.contains("error") && json["error"].is_string())
    state.error = json["error"].get<std::string>();
  return state;
}

std::optional<std::string> servedModel(double timeout, const LocalServer::Endpoint &endpoint) {
  auto url = endpoint.url("/v1/models");
  if (!url) return std::nullopt;
  HttpRequest request;
  request.url = *url;
  auto reply = exchange(std::move(request), timeout);
  if (reply.error) return std::nullopt;
  auto json = nlohmann::json::parse(reply.body, nullptr, false);
  if (!json.is_object() || !json.contains("data") || !json["data"].is_array() ||
      json["data"].empty())
    return std::nullopt;
  const auto &first = json["data"][0];
  if (!first.is_object() || !first.contains("id") || !first["id"].is_string()) return std::nullopt;
  return first["id"].get<std::string>();
}

std::optional<InstallState> request(const std::string &model, const std::string &method,
                                    double timeout, const LocalServer::Endpoint &endpoint) {
  bool reading = method == "GET";
  auto url = endpoint.url(reading ? "/v1/install?model=" + percentEncodeQuery(model)
                                  : std::string("/v1/install"));
  if (!url) return std::nullopt;
  HttpRequest request;
  request.method = method;
  request.url = *url;
  if (!reading) {
    request.headers = {{"Content-Type", "application/json"}};
    request.body = JsonWriter::compactSorted({{"model", model}});
  }
  auto reply = exchange(std::move(request), timeout);
  if (reply.error) return std::nullopt;
  auto state = parseInstallState(reply.body);
  if (!state)
    Log::write(fmt::format("model install: unreadable answer (http {}, {} bytes)", reply.status,
                           reply.body.size()));
  return state;
}

} // namespace selvar::ModelInstall
