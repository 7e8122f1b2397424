#include "platform/linux/PulseConnection.h"

#include <pulse/error.h>
#include <pulse/introspect.h>

namespace selvar {

namespace {

PulseSource fromInfo(const pa_source_info &info) {
  PulseSource s;
  s.index = info.index;
  s.name = info.name ? info.name : "";
  s.description = info.description ? info.description : s.name;
  s.driver = info.driver ? info.driver : "";
  s.sampleRate = info.sample_spec.rate;
  s.channels = info.sample_spec.channels;
  s.isMonitor = info.monitor_of_sink != PA_INVALID_INDEX;
  return s;
}

template <typename Result> struct Query {
  PulseConnection *connection;
  Result result{};
};

} // namespace

PulseConnection::PulseConnection(std::string clientName) : clientName_(std::move(clientName)) {
  loop_ = pa_threaded_mainloop_new();
  pa_threaded_mainloop_start(loop_);
}

PulseConnection::~PulseConnection() {
  {
    Lock lock(*this);
    dropContext();
  }
  pa_threaded_mainloop_stop(loop_);
  pa_threaded_mainloop_free(loop_);
}

void PulseConnection::dropContext() {
  if (!context_) return;
  pa_context_set_state_callback(context_, nullptr, nullptr);
  pa_context_disconnect(context_);
  pa_context_unref(context_);
  context_ = nullptr;
}

void PulseConnection::onState(pa_context *, void *self) {
  static_cast<PulseConnection *>(self)->signal();
}

std::optional<std::string> PulseConnection::ensureConnected() {
  if (context_ && pa_context_get_state(context_) == PA_CONTEXT_READY) return std::nullopt;
  dropContext();
  context_ = pa_context_new(pa_threaded_mainloop_get_api(loop_), clientName_.c_str());
  pa_context_set_state_callback(context_, onState, this);
  // No autospawn: a missing server is reported, never started behind the user's back.
  if (pa_context_connect(context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) {
    std::string reason = pa_strerror(pa_context_errno(context_));
    dropContext();
    return reason;
  }
  for (;;) {
    const pa_context_state_t state = pa_context_get_state(context_);
    if (state == PA_CONTEXT_READY) return std::nullopt;
    if (!PA_CONTEXT_IS_GOOD(state)) {
      std::string reason = pa_strerror(pa_context_errno(context_));
      dropContext();
      return reason;
    }
    wait();
  }
}

void PulseConnection::await(pa_operation *operation) {
  if (!operation) return;
  while (pa_operation_get_state(operation) == PA_OPERATION_RUNNING)
    wait();
  pa_operation_unref(operation);
}

std::optional<std::string> PulseConnection::defaultSourceName() {
  if (ensureConnected()) return std::nullopt;
  Query<std::optional<std::string>> q{this};
  await(pa_context_get_server_info(
      context_,
      [](pa_context *, const pa_server_info *info, void *data) {
        auto *q = static_cast<Query<std::optional<std::string>> *>(data);
        if (info && info->default_source_name) q->result = info->default_source_name;
        q->connection->signal();
      },
      &q));
  return q.result;
}

std::optional<PulseSource> PulseConnection::source(const std::string &name) {
  if (ensureConnected()) return std::nullopt;
  Query<std::optional<PulseSource>> q{this};
  await(pa_context_get_source_info_by_name(
      context_, name.c_str(),
      [](pa_context *, const pa_source_info *info, int, void *data) {
        auto *q = static_cast<Query<std::optional<PulseSource>> *>(data);
        if (info) q->result = fromInfo(*info);
        q->connection->signal();
      },
      &q));
  return q.result;
}

std::vector<PulseSource> PulseConnection::sources() {
  if (ensureConnected()) return {};
  Query<std::vector<PulseSource>> q{this};
  await(pa_context_get_source_info_list(
      context_,
      [](pa_context *, const pa_source_info *info, int, void *data) {
        auto *q = static_cast<Query<std::vector<PulseSource>> *>(data);
        if (info) q->result.push_back(fromInfo(*info));
        q->connection->signal();
      },
      &q));
  return q.result;
}

} // namespace selvar
