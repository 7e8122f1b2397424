#pragma once
// The application's one HTTP session: a libcurl multi handle driven by one worker thread.
// Requests are asynchronous and their completions run on that worker thread, so a completion
// must be quick (hop to the main queue for real work). Blocking helpers wait with a bound.

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace selvar {

// A failure below HTTP: nothing (or nothing complete) came back.
struct TransportError {
  enum class Kind {
    cannotConnect,
    cannotFindHost,
    timedOut,
    tooLarge,
    invalidURL,
    cancelled,
    other
  };
  Kind kind = Kind::other;
  std::string description; // lower case, fit for a log line
  friend bool operator==(const TransportError &, const TransportError &) = default;
};

struct HttpRequest {
  std::string method = "GET";
  std::string url;
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
  // The whole exchange, connecting included, must finish within this many seconds.
  double timeoutSeconds = 60;
  // A reply body above this size ends the exchange with TransportError::Kind::tooLarge.
  std::size_t maxReplyBytes = 16u << 20;
};

struct HttpReply {
  std::optional<TransportError> error;
  int status = -1; // -1 when no HTTP response arrived
  std::string body;
  // Where a 3xx reply points, as an absolute URL. Redirects are never followed here: each
  // caller decides whether and where to go on.
  std::optional<std::string> redirectURL;
  bool isSuccess() const { return !error && status >= 200 && status <= 299; }
};

// Where requests go; the one implementation outside tests is HttpClient.
class HttpSender {
public:
  using Completion = std::function<void(HttpReply)>;
  virtual ~HttpSender() = default;
  // Starts the exchange and returns at once. The completion runs exactly once, on the
  // sender's own thread.
  virtual void send(HttpRequest request, Completion completion) = 0;
};

class HttpClient : public HttpSender {
public:
  HttpClient();
  // Same as shutdown(). Must not run inside one of this client's completions.
  ~HttpClient() override;
  HttpClient(const HttpClient &) = delete;
  HttpClient &operator=(const HttpClient &) = delete;

  // The session every client of the application shares.
  static HttpClient &shared();

  // Starts the exchange and returns at once. The completion runs exactly once, on the worker
  // thread (also for a request sent after shutdown, which fails as cancelled).
  void send(HttpRequest request, Completion completion) override;
  // Sends and waits at most waitSeconds for the reply; a reply that has not arrived by then
  // reads as timed out (the exchange is left to finish on its own). Must not be called from a
  // completion, which would wait on itself.
  HttpReply sendAndWait(HttpRequest request, double waitSeconds);

  // Stops the worker: exchanges still running end as cancelled and their completions run
  // before this returns (called from a completion, it returns at once and the worker stops
  // after that completion). Idempotent.
  void shutdown();
  bool isWorkerThread() const;

private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// The host of an absolute http or https URL; nothing for anything else.
std::optional<std::string> httpURLHost(const std::string &url);

} // namespace selvar
