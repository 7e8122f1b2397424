#pragma once
// How a request to a local model server fails: the server's own answer (ServerError) or the
// transport below it.

#include "servers/HttpClient.h"
#include "support/Result.h"

#include <string>
#include <variant>

namespace selvar {

struct ServerError {
  enum class Kind { badResponse, notRunning, emptyText };
  Kind kind = Kind::notRunning;
  int status = 0; // for badResponse

  static ServerError badResponse(int status) { return {Kind::badResponse, status}; }
  static ServerError notRunning() { return {Kind::notRunning, 0}; }
  static ServerError emptyText() { return {Kind::emptyText, 0}; }
  // The user-facing text the pill shows.
  std::string description() const;
  friend bool operator==(const ServerError &, const ServerError &) = default;
};

using ServerFailure = std::variant<ServerError, TransportError>;
template <typename T> using ServerResult = Result<T, ServerFailure>;

// The failure's description: a ServerError's own, or the transport's.
std::string describe(const ServerFailure &failure);

} // namespace selvar
