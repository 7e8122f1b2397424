#include "platform/linux/PulseAudioEngine.h"

#include "platform/MainQueue.h"
#include "platform/Services.h"
#include "records/Log.h"

#include <pulse/error.h>
#include <pulse/introspect.h>
#include <pulse/subscribe.h>

namespace selvar {

namespace {

constexpr const char *kEchoCancelDriver = "module-echo-cancel.c";

} // namespace

PulseAudioEngine::PulseAudioEngine() = default;

// Requests still in flight carry this engine as their context; ending the connection here,
// before any member goes, makes sure none of them lands.
PulseAudioEngine::~PulseAudioEngine() {
  PulseConnection::Lock lock(connection_);
  closeStream();
  if (connection_.context())
    pa_context_set_subscribe_callback(connection_.context(), nullptr, nullptr);
  connection_.disconnect();
}

// The source capture reads: the echo canceller's when voice processing is on, else the
// server's default.
std::optional<PulseSource> PulseAudioEngine::captureSource() const {
  if (echoSource_) return connection_.source(*echoSource_);
  auto name = connection_.defaultSourceName();
  return name ? connection_.source(*name) : std::nullopt;
}

AudioFormat PulseAudioEngine::inputFormat() const {
  PulseConnection::Lock lock(connection_);
  auto source = captureSource();
  if (!source) return {};
  return {source->sampleRate, source->channels};
}

std::optional<std::string> PulseAudioEngine::setVoiceProcessingEnabled(bool enabled) {
  PulseConnection::Lock lock(connection_);
  echoSource_.reset();
  if (!enabled) return std::nullopt;
  if (auto failure = connection_.ensureConnected()) return "no sound server: " + *failure;
  for (const PulseSource &s : connection_.sources())
    if (s.driver == kEchoCancelDriver && !s.isMonitor) {
      echoSource_ = s.name;
      return std::nullopt;
    }
  return "no echo-cancelling source (module-echo-cancel is not loaded)";
}

void PulseAudioEngine::installTap(AudioFormat format, std::size_t frames, TapBlock block) {
  PulseConnection::Lock lock(connection_);
  tapFormat_ = format;
  frames_ = frames;
  block_ = std::move(block);
  chunker_ = std::make_unique<FrameChunker>(frames, format.channelCount, format.sampleRate);
  // A running capture follows the new format (after a route change) on a fresh stream.
  if (running_) {
    closeStream();
    if (auto failure = openStream()) {
      running_ = false;
      Log::write("capture stream failed after a format change: " + *failure);
    }
  }
}

void PulseAudioEngine::removeTap() {
  PulseConnection::Lock lock(connection_);
  block_ = nullptr;
}

std::optional<std::string> PulseAudioEngine::start() {
  PulseConnection::Lock lock(connection_);
  if (running_) return std::nullopt;
  if (auto failure = connection_.ensureConnected()) return "no sound server: " + *failure;
  if (tapFormat_.sampleRate <= 0) {
    auto source = captureSource();
    if (!source) return std::string("no input source");
    tapFormat_ = {source->sampleRate, 1};
    chunker_ = std::make_unique<FrameChunker>(frames_, 1, source->sampleRate);
  }
  if (auto failure = openStream()) return failure;
  running_ = true;
  return std::nullopt;
}

void PulseAudioEngine::stop() {
  PulseConnection::Lock lock(connection_);
  closeStream();
  running_ = false;
}

bool PulseAudioEngine::isRunning() const {
  PulseConnection::Lock lock(connection_);
  return running_;
}

// Float samples in the tap's channel count at the tap's rate: the server converts, so the
// buffers arrive as the core asked whatever the device does. Fragments of half a buffer keep
// the last buffer of an utterance from waiting on the server.
std::optional<std::string> PulseAudioEngine::openStream() {
  const pa_sample_spec spec{PA_SAMPLE_FLOAT32NE, std::uint32_t(tapFormat_.sampleRate),
                            std::uint8_t(tapFormat_.channelCount)};
  if (!pa_sample_spec_valid(&spec)) return std::string("unsupported capture format");
  stream_ = pa_stream_new(connection_.context(), "Dictation", &spec, nullptr);
  if (!stream_) return std::string(pa_strerror(pa_context_errno(connection_.context())));
  pa_stream_set_state_callback(stream_, onStreamState, this);
  pa_stream_set_read_callback(stream_, onRead, this);
  pa_buffer_attr attr{};
  attr.maxlength = std::uint32_t(-1);
  attr.fragsize = std::uint32_t(frames_ / 2 * pa_frame_size(&spec));
  const char *device = echoSource_ ? echoSource_->c_str() : nullptr;
  if (pa_stream_connect_record(stream_, device, &attr, PA_STREAM_ADJUST_LATENCY) < 0) {
    std::string reason = pa_strerror(pa_context_errno(connection_.context()));
    closeStream();
    return reason;
  }
  for (;;) {
    const pa_stream_state_t state = pa_stream_get_state(stream_);
    if (state == PA_STREAM_READY) break;
    if (!PA_STREAM_IS_GOOD(state)) {
      std::string reason = pa_strerror(pa_context_errno(connection_.context()));
      closeStream();
      return reason;
    }
    connection_.wait();
  }
  if (auto source = captureSource()) knownSource_ = *source;
  return std::nullopt;
}

void PulseAudioEngine::closeStream() {
  if (!stream_) return;
  pa_stream_set_state_callback(stream_, nullptr, nullptr);
  pa_stream_set_read_callback(stream_, nullptr, nullptr);
  pa_stream_disconnect(stream_);
  pa_stream_unref(stream_);
  stream_ = nullptr;
  if (chunker_) chunker_->reset();
}

void PulseAudioEngine::onStreamState(pa_stream *, void *self) {
  static_cast<PulseAudioEngine *>(self)->connection_.signal();
}

void PulseAudioEngine::onRead(pa_stream *, size_t, void *self) {
  static_cast<PulseAudioEngine *>(self)->read();
}

// On the event thread, with the lock held: the audio thread of this engine.
void PulseAudioEngine::read() {
  const std::size_t frameBytes = sizeof(float) * std::size_t(std::max(tapFormat_.channelCount, 1));
  auto emit = [this](AudioBuffer buffer) {
    if (block_) block_(buffer);
  };
  while (stream_ && pa_stream_readable_size(stream_) > 0) {
    const void *data = nullptr;
    std::size_t bytes = 0;
    if (pa_stream_peek(stream_, &data, &bytes) < 0 || bytes == 0) break;
    if (chunker_) {
      if (data)
        chunker_->push({static_cast<const float *>(data), bytes / sizeof(float)}, emit);
      else
        chunker_->pushSilence(bytes / frameBytes, emit); // a hole: frames the server lost
    }
    pa_stream_drop(stream_);
  }
}

AudioEngine::Token PulseAudioEngine::observeConfigurationChanges(std::function<void()> handler) {
  Token token;
  {
    std::lock_guard guard(observersMutex_);
    token = nextToken_++;
    observers_[token] = std::move(handler);
  }
  PulseConnection::Lock lock(connection_);
  subscribe();
  return token;
}

void PulseAudioEngine::removeConfigurationObserver(Token token) {
  std::lock_guard guard(observersMutex_);
  observers_.erase(token);
}

void PulseAudioEngine::subscribe() {
  if (connection_.ensureConnected()) return;
  knownDefault_ = connection_.defaultSourceName().value_or("");
  if (auto source = captureSource()) knownSource_ = *source;
  if (subscribed_) return;
  subscribed_ = true;
  pa_context_set_subscribe_callback(connection_.context(), onEvent, this);
  pa_operation *op = pa_context_subscribe(
      connection_.context(),
      pa_subscription_mask_t(PA_SUBSCRIPTION_MASK_SERVER | PA_SUBSCRIPTION_MASK_SOURCE), nullptr,
      nullptr);
  if (op) pa_operation_unref(op);
}

// Events arrive on the event thread, where blocking is not allowed: the details are asked for
// asynchronously and compared when they come.
void PulseAudioEngine::onEvent(pa_context *context, pa_subscription_event_type_t type,
                               uint32_t index, void *self) {
  auto *engine = static_cast<PulseAudioEngine *>(self);
  const auto facility = type & PA_SUBSCRIPTION_EVENT_FACILITY_MASK;
  const auto kind = type & PA_SUBSCRIPTION_EVENT_TYPE_MASK;
  pa_operation *op = nullptr;
  if (facility == PA_SUBSCRIPTION_EVENT_SERVER) {
    op = pa_context_get_server_info(
        context,
        [](pa_context *, const pa_server_info *info, void *self) {
          if (info) static_cast<PulseAudioEngine *>(self)->checkServer(info->default_source_name);
        },
        self);
  } else if (facility == PA_SUBSCRIPTION_EVENT_SOURCE && index == engine->knownSource_.index) {
    if (kind == PA_SUBSCRIPTION_EVENT_REMOVE) {
      engine->notifyObservers();
      return;
    }
    op = pa_context_get_source_info_by_index(
        context, index,
        [](pa_context *, const pa_source_info *info, int, void *self) {
          if (!info) return;
          PulseSource s;
          s.index = info->index;
          s.name = info->name ? info->name : "";
          s.sampleRate = info->sample_spec.rate;
          s.channels = info->sample_spec.channels;
          static_cast<PulseAudioEngine *>(self)->checkSource(s);
        },
        self);
  }
  if (op) pa_operation_unref(op);
}

void PulseAudioEngine::checkServer(const char *defaultSource) {
  const std::string name = defaultSource ? defaultSource : "";
  if (name == knownDefault_) return;
  knownDefault_ = name;
  if (!echoSource_) notifyObservers();
}

void PulseAudioEngine::checkSource(const PulseSource &source) {
  if (source.sampleRate == knownSource_.sampleRate && source.channels == knownSource_.channels)
    return;
  knownSource_.sampleRate = source.sampleRate;
  knownSource_.channels = source.channels;
  notifyObservers();
}

void PulseAudioEngine::notifyObservers() {
  std::lock_guard guard(observersMutex_);
  for (const auto &[token, handler] : observers_) {
    auto copy = handler;
    services().mainQueue->async([copy] { copy(); });
  }
}

} // namespace selvar
