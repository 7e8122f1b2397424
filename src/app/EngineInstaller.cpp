#include "app/EngineInstaller.h"

#include "platform/Services.h"
#include "servers/ModelInstall.h"

namespace selvar {

namespace {
constexpr double kReadTimeout = 2.0;
constexpr double kStartTimeout = 10.0;

EngineInstallState converted(const std::optional<ModelInstall::InstallState> &state,
                             const std::string &method) {
  using Phase = EngineInstallState::Phase;
  if (!state) {
    // Only a failed start is worth a message; an unanswered read just shows no state.
    if (method == "GET") return {};
    return {Phase::failed, 0, 0, "the local server is not running"};
  }
  Phase phase = Phase::missing;
  switch (state->phase) {
  case ModelInstall::InstallState::Phase::missing:
    phase = Phase::missing;
    break;
  case ModelInstall::InstallState::Phase::downloading:
    phase = Phase::downloading;
    break;
  case ModelInstall::InstallState::Phase::ready:
    phase = Phase::ready;
    break;
  case ModelInstall::InstallState::Phase::failed:
    phase = Phase::failed;
    break;
  }
  return {phase, state->bytes, state->total, state->error.value_or("")};
}
} // namespace

EngineInstaller::EngineInstaller(Background background, Update update, LocalServer::Endpoint server)
    : background_(std::move(background)), update_(std::move(update)), server_(std::move(server)) {}

EngineInstaller::~EngineInstaller() {
  *alive_ = false;
  for (auto &[id, timer] : polls_)
    cancelTimer(timer);
}

void EngineInstaller::refresh() {
  for (const auto &engine : EngineCatalog::dictationEngines(platformCapabilities()))
    if (engine.runsHere && !engine.installModel.empty())
      request(engine.id, engine.installModel, "GET");
}

void EngineInstaller::install(const std::string &engineId) {
  auto engine = EngineCatalog::find(engineId, platformCapabilities());
  if (!engine || !engine->runsHere || engine->installModel.empty()) return;
  cancelTimer(polls_[engineId]);
  request(engineId, engine->installModel, "POST");
}

void EngineInstaller::request(const std::string &engineId, const std::string &model,
                              const std::string &method) {
  std::weak_ptr<bool> alive = alive_;
  background_([this, alive, engineId, model, method] {
    double timeout = method == "GET" ? kReadTimeout : kStartTimeout;
    auto state = ModelInstall::request(model, method, timeout, server_);
    services().mainQueue->async([this, alive, engineId, model, method, state] {
      if (!alive.expired()) publish(engineId, model, converted(state, method));
    });
  });
}

void EngineInstaller::publish(const std::string &engineId, const std::string &model,
                              EngineInstallState state) {
  if (update_) update_(engineId, state);
  if (state.phase != EngineInstallState::Phase::downloading) return;
  polls_[engineId] = services().mainQueue->scheduleTimer(
      kPollInterval, [this, engineId, model] { request(engineId, model, "GET"); });
}

} // namespace selvar
