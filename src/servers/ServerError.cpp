#include "servers/ServerError.h"

namespace selvar {

std::string ServerError::description() const {
  switch (kind) {
  case Kind::badResponse:
    if (status >= 500 && status <= 599) return "the local server could not load its model";
    if (status == 404 || status == 422) return "the local server rejected the request";
    return "the local server answered " + std::to_string(status);
  case Kind::notRunning:
    return "the local server is not running";
  case Kind::emptyText:
    return "the local server heard nothing";
  }
  return {};
}

std::string describe(const ServerFailure &failure) {
  if (const auto *server = std::get_if<ServerError>(&failure)) return server->description();
  return std::get<TransportError>(failure).description;
}

} // namespace selvar
