#include "servers/LocalServer.h"

#include "platform/FileLocations.h"
#include "platform/MainQueue.h"
#include "platform/ProcessRunner.h"
#include "platform/Services.h"
#include "records/Log.h"
#include "servers/HttpClient.h"
#include "support/Time.h"

#include <fmt/format.h>
#include <map>
#include <memory>
#include <mutex>
#include <unistd.h>

namespace selvar::LocalServer {

namespace fs = std::filesystem;

namespace {

constexpr double kProbeRequestTimeout = 0.6;
constexpr double kProbeWait = 0.8;
constexpr double kPollInterval = 0.5;
constexpr double kStopGrace = 1.0;
// The server's log is appended to across launches and started afresh above this size.
constexpr std::uintmax_t kServerLogLimit = 1'000'000;

struct ProbeEntry {
  bool up = false;
  double checked = 0;
};

std::mutex &cacheMutex() {
  static std::mutex m;
  return m;
}
std::map<std::string, ProbeEntry, std::less<>> &cache() {
  static std::map<std::string, ProbeEntry, std::less<>> c;
  return c;
}
// When each server last answered anything, by cache key.
std::map<std::string, double, std::less<>> &answered() {
  static std::map<std::string, double, std::less<>> a;
  return a;
}

// One entry per id and address, so pointing the rewrite stage elsewhere does not reuse the
// old server's answer.
std::string cacheKey(const Endpoint &endpoint) {
  return endpoint.id + " " + endpoint.url("").value_or("");
}

void remember(const std::string &key, bool up) {
  std::lock_guard lock(cacheMutex());
  cache()[key] = {up, monotonicNow()};
  if (up) answered()[key] = monotonicNow();
}

void forget(const std::string &key) {
  std::lock_guard lock(cacheMutex());
  cache().erase(key);
}

std::optional<bool> cached(std::string_view key, double maxAge) {
  if (maxAge <= 0) return std::nullopt;
  std::lock_guard lock(cacheMutex());
  auto it = cache().find(key);
  if (it == cache().end() || monotonicNow() - it->second.checked >= maxAge) return std::nullopt;
  return it->second.up;
}

// Caches up and down; a busy server is left uncached and counts as running.
bool settle(const Endpoint &endpoint, Availability availability) {
  std::string key = cacheKey(endpoint);
  if (availability == Availability::busy) {
    forget(key);
    Log::write(endpoint.id + " is busy: its probe timed out soon after it answered; not "
                             "marking it down");
    return true;
  }
  remember(key, availability == Availability::up);
  return availability == Availability::up;
}

std::optional<HttpRequest> probeRequest(const Endpoint &endpoint) {
  auto url = endpoint.url("/v1/models");
  if (!url) return std::nullopt;
  HttpRequest request;
  request.url = *url;
  request.timeoutSeconds = kProbeRequestTimeout;
  request.maxReplyBytes = 1u << 20;
  return request;
}

struct Launched {
  std::mutex mutex;
  std::unique_ptr<ChildProcess> process;
};
Launched &launched() {
  static Launched l;
  return l;
}

} // namespace

std::optional<std::string> Endpoint::url(std::string_view path) const {
  if (!baseURL.empty()) return baseURL + std::string(path);
  if (port < 1 || port > 65535) return std::nullopt;
  return fmt::format("http://127.0.0.1:{}{}", port, path);
}

std::optional<Endpoint> endpoint(std::string_view id) {
  if (id == kTranscriptionID)
    return Endpoint{kTranscriptionID, 8020, "mlx-community/whisper-large-v3-turbo",
                    "./tools/setup-asr.sh   # once, then: ~/.local/share/selvar/asr/bin/python "
                    "tools/asr-server.py --port 8020"};
  if (id == kRewriteID)
    return Endpoint{kRewriteID, 8021, "mlx-community/Qwen3-1.7B-4bit",
                    "mlx_lm.server --host 127.0.0.1 --port 8021 --model "
                    "mlx-community/Qwen3-1.7B-4bit"};
  return std::nullopt;
}

Endpoint transcriptionEndpoint() {
  return *endpoint(kTranscriptionID);
}
Endpoint rewriteEndpoint() {
  return *endpoint(kRewriteID);
}

bool probe(const Endpoint &endpoint) {
  auto request = probeRequest(endpoint);
  if (!request) return false;
  return HttpClient::shared().sendAndWait(std::move(*request), kProbeWait).isSuccess();
}

void probeAsync(const Endpoint &endpoint, std::function<void(bool)> completion) {
  auto request = probeRequest(endpoint);
  if (!request) {
    completion(false);
    return;
  }
  HttpClient::shared().send(
      std::move(*request),
      [completion = std::move(completion)](HttpReply reply) { completion(reply.isSuccess()); });
}

void noteAnswered(const Endpoint &endpoint) {
  std::lock_guard lock(cacheMutex());
  answered()[cacheKey(endpoint)] = monotonicNow();
}

Availability classify(const Endpoint &endpoint, const HttpReply &reply) {
  if (reply.isSuccess()) return Availability::up;
  if (!reply.error || reply.error->kind != TransportError::Kind::timedOut)
    return Availability::down;
  std::lock_guard lock(cacheMutex());
  auto it = answered().find(cacheKey(endpoint));
  bool recent = it != answered().end() && monotonicNow() - it->second < kBusyWindow;
  return recent ? Availability::busy : Availability::down;
}

bool isRunning(std::string_view id, double maxAge) {
  auto e = endpoint(id);
  return e && isRunning(*e, maxAge);
}

bool isRunning(const Endpoint &endpoint, double maxAge) {
  if (auto known = cached(cacheKey(endpoint), maxAge)) return *known;
  auto request = probeRequest(endpoint);
  if (!request) return false;
  // Outside the lock: the wait can take 0.8 s.
  HttpReply reply = HttpClient::shared().sendAndWait(std::move(*request), kProbeWait);
  return settle(endpoint, classify(endpoint, reply));
}

void checkRunning(const Endpoint &endpoint, double maxAge, std::function<void(bool)> completion) {
  if (auto known = cached(cacheKey(endpoint), maxAge)) return completion(*known);
  auto request = probeRequest(endpoint);
  if (!request) return completion(false);
  HttpClient::shared().send(std::move(*request),
                            [endpoint, completion = std::move(completion)](HttpReply reply) {
                              completion(settle(endpoint, classify(endpoint, reply)));
                            });
}

void clearProbeCache() {
  std::lock_guard lock(cacheMutex());
  cache().clear();
  answered().clear();
}

fs::path interpreterPath() {
  return Paths::asrEnvironment() / "bin/python";
}

std::optional<fs::path> serverScript() {
  auto dir = services().files->resourcesDir();
  if (!dir) return std::nullopt;
  return *dir / "asr-server.py";
}

fs::path serverLogPath() {
  return Paths::logs() / "asr-server.log";
}

bool isServerInstalled() {
  std::error_code ec;
  auto python = interpreterPath();
  bool executable = fs::is_regular_file(python, ec) && ::access(python.c_str(), X_OK) == 0;
  return executable && serverScript().has_value();
}

// ---- start ----

namespace {

struct StartRun {
  Endpoint endpoint;
  std::string model;
  double timeout = 0;
  double deadline = 0;
  std::function<void(bool)> completion;
  MainQueue *queue = nullptr;
  bool exitNoted = false;
};
using Run = std::shared_ptr<StartRun>;

// Probes without blocking and continues on the main queue with the answer.
void probeThen(const Run &run, std::function<void(const Run &, bool)> next) {
  probeAsync(run->endpoint, [run, next = std::move(next)](bool up) {
    remember(cacheKey(run->endpoint), up);
    run->queue->async([run, next, up] { next(run, up); });
  });
}

// Polling goes on when the launched server exits (another server may own the port and still
// come up), but its early exit is worth a line.
void noteEarlyExit(StartRun &run) {
  if (run.exitNoted) return;
  auto &l = launched();
  std::lock_guard lock(l.mutex);
  if (!l.process || l.process->isRunning()) return;
  run.exitNoted = true;
  Log::write("asr server exited while loading; see " + serverLogPath().string());
}

void poll(const Run &run) {
  probeThen(run, [](const Run &r, bool up) {
    if (up) return r->completion(true);
    noteEarlyExit(*r);
    if (monotonicNow() > r->deadline) {
      Log::write(fmt::format("asr server did not answer within {}s", r->timeout));
      return r->completion(false);
    }
    r->queue->asyncAfter(kPollInterval, [r] { poll(r); });
  });
}

void prepareServerLog(const fs::path &log) {
  std::error_code ec;
  if (fs::file_size(log, ec) > kServerLogLimit && !ec) fs::remove(log, ec);
}

// True when a server launched earlier still runs or a new one was launched.
bool launchIfNeeded(const StartRun &run) {
  auto &l = launched();
  std::lock_guard lock(l.mutex);
  if (l.process && l.process->isRunning()) return true; // still loading its model
  auto *runner = services().processes;
  if (!runner) {
    Log::write("asr server launch failed: no way to start processes");
    return false;
  }
  ProcessSpec spec;
  spec.executable = interpreterPath();
  spec.arguments = {serverScript()->string(), "--port", std::to_string(run.endpoint.port)};
  spec.environment = {{"SELVAR_ASR_MODEL", run.model}};
  spec.outputFile = serverLogPath();
  // Not the application's folder (the home folder, or "/" for a macOS app): the server's own
  // environment holds nothing private should an upload name a relative path.
  spec.workingDirectory = Paths::asrEnvironment();
  prepareServerLog(spec.outputFile);
  auto result = runner->launch(spec);
  if (!result.process) {
    Log::write("asr server launch failed: " + result.error);
    return false;
  }
  Log::write(fmt::format("asr server launched pid={}", result.process->pid()));
  l.process = std::move(result.process);
  return true;
}

void afterFirstProbe(const Run &run, bool up) {
  if (up) return run->completion(true);
  if (!isServerInstalled()) {
    Log::write("asr server not installed: no interpreter at " + interpreterPath().string());
    return run->completion(false);
  }
  if (!launchIfNeeded(*run)) return run->completion(false);
  run->deadline = monotonicNow() + run->timeout;
  poll(run);
}

} // namespace

void start(double timeout, const std::string &model, std::function<void(bool)> completion,
           const Endpoint &endpoint) {
  auto run = std::make_shared<StartRun>();
  run->endpoint = endpoint;
  run->model = model;
  run->timeout = timeout;
  run->completion = std::move(completion);
  run->queue = services().mainQueue;
  probeThen(run, afterFirstProbe);
}

void stopLaunched() {
  auto &l = launched();
  std::lock_guard lock(l.mutex);
  if (!l.process) return;
  if (l.process->isRunning()) {
    int pid = l.process->pid();
    l.process->terminate(kStopGrace);
    Log::write(fmt::format("asr server stopped on quit pid={}", pid));
  }
  l.process.reset();
}

std::optional<int> launchedPid() {
  auto &l = launched();
  std::lock_guard lock(l.mutex);
  if (!l.process || !l.process->isRunning()) return std::nullopt;
  return l.process->pid();
}

} // namespace selvar::LocalServer
