#pragma once
// The two local model servers on 127.0.0.1 (transcription and rewrite): their endpoints,
// whether each answers, and launching and stopping the transcription server as a child.

#include "servers/HttpClient.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace selvar {

namespace LocalServer {

inline constexpr const char *kTranscriptionID = "server-transcription";
inline constexpr const char *kRewriteID = "server-rewrite";

struct Endpoint {
  std::string id;
  int port = 0;
  std::string model;        // default model name sent to the server
  std::string startCommand; // shown to the user, never executed
  // "http://host:port" of a server the user pointed at; empty for 127.0.0.1 and the port.
  std::string baseURL;

  // The base URL, or "http://127.0.0.1:<port>", followed by the path; nothing when the port
  // cannot be part of a URL.
  std::optional<std::string> url(std::string_view path) const;
  friend bool operator==(const Endpoint &, const Endpoint &) = default;
};

// The built-in endpoints by id; nothing for any other id.
std::optional<Endpoint> endpoint(std::string_view id);
Endpoint transcriptionEndpoint();
Endpoint rewriteEndpoint();

// GET /v1/models: true only for a 2xx answer. Blocks up to 0.8 s; never on the main thread.
bool probe(const Endpoint &endpoint);
// The same probe without blocking; the completion runs on the HTTP worker thread.
void probeAsync(const Endpoint &endpoint, std::function<void(bool)> completion);

// How a probe went. A server generating a reply may hold its model list until it is done,
// so a probe that times out soon after the server last answered finds it busy, not down.
enum class Availability { up, busy, down };
// Seconds after a server's last answer during which a timed-out probe counts as busy.
inline constexpr double kBusyWindow = 120;
// A server answered a request (any HTTP status): it is up, if perhaps busy for a while.
void noteAnswered(const Endpoint &endpoint);
// Up for a 2xx answer; busy for a time-out within kBusyWindow of the last answer; else down.
Availability classify(const Endpoint &endpoint, const HttpReply &reply);

// The probe's answer, reused while younger than maxAge seconds (0 always probes). Blocking.
// A busy server counts as running and is not cached, so the next check probes again.
bool isRunning(std::string_view id, double maxAge);
bool isRunning(const Endpoint &endpoint, double maxAge);
// The same without blocking: a fresh cached answer completes at once on the caller's thread,
// otherwise the completion runs on the HTTP worker thread after the probe.
void checkRunning(const Endpoint &endpoint, double maxAge, std::function<void(bool)> completion);
void clearProbeCache();

// "~/.local/share/selvar/asr/bin/python".
std::filesystem::path interpreterPath();
// "asr-server.py" in the resources folder; nothing without a resources folder.
std::optional<std::filesystem::path> serverScript();
// "asr-server.log" in the log folder.
std::filesystem::path serverLogPath();
// The interpreter is an executable file and there is a resources folder.
bool isServerInstalled();

// Launches the transcription server unless it already answers (or one launched earlier is
// still loading), then polls every 0.5 s until it answers or `timeout` seconds have passed.
// Nothing blocks: polls run through the main queue, and the completion runs there once.
void start(double timeout, const std::string &model, std::function<void(bool)> completion,
           const Endpoint &endpoint = transcriptionEndpoint());
// Stops the server this application launched, if it still runs (at quit). Waits briefly for
// it to exit, then kills it; never leaves a zombie.
void stopLaunched();
// The process id of the launched server while it runs.
std::optional<int> launchedPid();

} // namespace LocalServer

} // namespace selvar
