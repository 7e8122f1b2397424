#pragma once
// Capture from the default PulseAudio source: one record stream of float samples at the
// source's own rate, cut into fixed-size buffers on the connection's event thread (the audio
// thread), with word on the main queue when the default source or its format changes. Voice
// processing means recording from the echo-cancelling source when that module is loaded.

#include "platform/AudioEngine.h"
#include "platform/linux/FrameChunker.h"
#include "platform/linux/PulseConnection.h"

#include <map>
#include <memory>
#include <mutex>
#include <pulse/stream.h>

namespace selvar {

class PulseAudioEngine : public AudioEngine {
public:
  PulseAudioEngine();
  ~PulseAudioEngine() override;

  AudioFormat inputFormat() const override;
  std::optional<std::string> setVoiceProcessingEnabled(bool enabled) override;
  bool voiceProcessingEnabled() const override { return echoSource_.has_value(); }
  void installTap(AudioFormat format, std::size_t frames, TapBlock block) override;
  void removeTap() override;
  std::optional<std::string> start() override;
  void stop() override;
  bool isRunning() const override;
  Token observeConfigurationChanges(std::function<void()> handler) override;
  void removeConfigurationObserver(Token token) override;

private:
  std::optional<PulseSource> captureSource() const;
  std::optional<std::string> openStream();
  void closeStream();
  void subscribe();
  void read();
  void notifyObservers();
  void checkServer(const char *defaultSource);
  void checkSource(const PulseSource &source);

  static void onStreamState(pa_stream *, void *self);
  static void onRead(pa_stream *, size_t, void *self);
  static void onEvent(pa_context *, pa_subscription_event_type_t, uint32_t, void *self);

  mutable PulseConnection connection_{"Selvar"};
  std::optional<std::string> echoSource_;
  // The tap, its format and the stream: touched with the connection's lock held.
  TapBlock block_;
  AudioFormat tapFormat_;
  std::size_t frames_ = 2048;
  std::unique_ptr<FrameChunker> chunker_;
  pa_stream *stream_ = nullptr;
  bool running_ = false;
  // What the capture started from, to tell a real change from noise.
  std::string knownDefault_;
  PulseSource knownSource_;
  bool subscribed_ = false;

  std::mutex observersMutex_;
  std::map<Token, std::function<void()>> observers_;
  Token nextToken_ = 1;
};

} // namespace selvar
