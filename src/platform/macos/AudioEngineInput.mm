#include "platform/macos/AudioEngineInput.h"

#include "platform/macos/AudioBufferBridge.h"
#include "platform/macos/ObjCBridge.h"
#include "records/Log.h"

#import <AVFoundation/AVFoundation.h>

namespace selvar {

namespace {

constexpr AVAudioNodeBus kInputBus = 0;

// The input's own format when it already is what the core asked for, otherwise the standard
// float format at the asked rate and channel count (mono from a stereo input).
AVAudioFormat *tapFormat(AVAudioInputNode *input, AudioFormat wanted) {
  AVAudioFormat *native = [input outputFormatForBus:kInputBus];
  if (native.sampleRate == wanted.sampleRate &&
      static_cast<int>(native.channelCount) == wanted.channelCount)
    return native;
  return [[AVAudioFormat alloc]
      initStandardFormatWithSampleRate:wanted.sampleRate
                              channels:static_cast<AVAudioChannelCount>(wanted.channelCount)];
}

} // namespace

AudioEngineInput::AudioEngineInput() : engine_([[AVAudioEngine alloc] init]) {}

AudioEngineInput::~AudioEngineInput() {
  for (auto &[token, observer] : observers_)
    [[NSNotificationCenter defaultCenter] removeObserver:observer];
  removeTap();
  [engine_ stop];
}

AudioFormat AudioEngineInput::inputFormat() const {
  AVAudioFormat *format = [engine_.inputNode outputFormatForBus:kInputBus];
  return {format.sampleRate, static_cast<int>(format.channelCount)};
}

std::optional<std::string> AudioEngineInput::setVoiceProcessingEnabled(bool enabled) {
  NSError *error = nil;
  if ([engine_.inputNode setVoiceProcessingEnabled:enabled error:&error]) return std::nullopt;
  return describe(error);
}

bool AudioEngineInput::voiceProcessingEnabled() const {
  return engine_.inputNode.voiceProcessingEnabled;
}

void AudioEngineInput::installTap(AudioFormat format, std::size_t frames, TapBlock block) {
  removeTap();
  auto state = std::make_shared<TapState>();
  state->block = std::move(block);
  tap_ = state;
  AVAudioInputNode *input = engine_.inputNode;
  // AVAudioEngine raises (rather than returning an error) when the format no longer matches
  // the hardware, which a route change can cause between reading and tapping.
  @try {
    [input installTapOnBus:kInputBus
                bufferSize:static_cast<AVAudioFrameCount>(frames)
                    format:tapFormat(input, format)
                     block:^(AVAudioPCMBuffer *buffer, AVAudioTime *) {
                       AudioBuffer samples = audioBufferFrom(buffer);
                       std::lock_guard<std::mutex> lock(state->mutex);
                       if (state->block) state->block(samples);
                     }];
  } @catch (NSException *exception) {
    Log::write("audio tap install failed: " + stdString(exception.reason));
  }
}

void AudioEngineInput::removeTap() {
  [engine_.inputNode removeTapOnBus:kInputBus];
  std::shared_ptr<TapState> state = std::move(tap_);
  if (!state) return;
  // Waits for a block that is running now; later calls find nothing to run.
  std::lock_guard<std::mutex> lock(state->mutex);
  state->block = nullptr;
}

std::optional<std::string> AudioEngineInput::start() {
  NSError *error = nil;
  if ([engine_ startAndReturnError:&error]) return std::nullopt;
  return describe(error);
}

void AudioEngineInput::stop() {
  [engine_ stop];
}

bool AudioEngineInput::isRunning() const {
  return engine_.running;
}

AudioEngine::Token AudioEngineInput::observeConfigurationChanges(std::function<void()> handler) {
  id<NSObject> observer = [[NSNotificationCenter defaultCenter]
      addObserverForName:AVAudioEngineConfigurationChangeNotification
                  object:engine_
                   queue:[NSOperationQueue mainQueue]
              usingBlock:^(NSNotification *) {
                handler();
              }];
  Token token = next_++;
  observers_[token] = observer;
  return token;
}

void AudioEngineInput::removeConfigurationObserver(Token token) {
  auto it = observers_.find(token);
  if (it == observers_.end()) return;
  [[NSNotificationCenter defaultCenter] removeObserver:it->second];
  observers_.erase(it);
}

std::unique_ptr<AudioEngine> AudioEngineInputSystem::makeEngine() {
  return std::make_unique<AudioEngineInput>();
}

std::optional<std::string> AudioEngineInputSystem::defaultInputDeviceName() const {
  AVCaptureDevice *device = [AVCaptureDevice defaultDeviceWithMediaType:AVMediaTypeAudio];
  if (!device) return std::nullopt;
  return stdString(device.localizedName);
}

} // namespace selvar
