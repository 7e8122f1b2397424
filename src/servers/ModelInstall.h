#pragma once
// Asks the local transcription server which model it serves, and asks it to download
// ("install") a model or how far such a download has come. Blocking; never on the main thread.

#include "servers/LocalServer.h"
#include "support/RawEnum.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace selvar {

namespace ModelInstall {

struct InstallState {
  enum class Phase { missing, downloading, ready, failed };
  Phase phase = Phase::missing;
  std::int64_t bytes = 0;
  std::int64_t total = 0;
  std::optional<std::string> error;
  friend bool operator==(const InstallState &, const InstallState &) = default;
};

// The first model id in the server's GET /v1/models answer.
std::optional<std::string>
servedModel(double timeout,
            const LocalServer::Endpoint &endpoint = LocalServer::transcriptionEndpoint());
// "GET" reads the install state of the model; any other method starts installing it.
std::optional<InstallState>
request(const std::string &model, const std::string &method, double timeout,
        const LocalServer::Endpoint &endpoint = LocalServer::transcriptionEndpoint());

// Percent-encodes everything outside the URL query's allowed characters.
std::string percentEncodeQuery(std::string_view text);
std::optional<InstallState> parseInstallState(const std::string &body);

} // namespace ModelInstall

template <> struct RawEnumTraits<ModelInstall::InstallState::Phase> {
  using P = ModelInstall::InstallState::Phase;
  static constexpr std::array<std::pair<P, std::string_view>, 4> cases{
      {{P::missing, "missing"},
       {P::downloading, "downloading"},
       {P::ready, "ready"},
       {P::failed, "failed"}}};
  static constexpr P fallback = P::missing;
};

} // namespace selvar
