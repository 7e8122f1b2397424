#include "platform/macos/AudioConverterAdapter.h"

#include "platform/macos/AudioBufferBridge.h"
#include "platform/macos/ObjCBridge.h"
#include "records/Log.h"

#import <AVFAudio/AVFAudio.h>
#include <fmt/format.h>

namespace selvar {

namespace {

constexpr AVAudioFrameCount kChunkFrames = 16384;

class AVConverter : public AudioConverter {
public:
  using AudioConverter::convert;
  using AudioConverter::finish;

  AVConverter(AVAudioConverter *converter, AVAudioFormat *output, int inputChannels)
      : converter_(converter), output_(output), inputChannels_(inputChannels) {}

  bool convert(const AudioBuffer &input, std::vector<float> &output) override {
    if (finished_ || input.channelCount != inputChannels_) return false;
    AVAudioPCMBuffer *pcm = pcmBufferFrom(input);
    return pcm && run(pcm, false, output);
  }

  bool finish(std::vector<float> &output) override {
    if (finished_) return true;
    finished_ = true;
    return run(nil, true, output);
  }

private:
  // Hands the buffer over once, then reports no more data for now (or the end), and collects
  // output until the converter has drained what it can.
  bool run(AVAudioPCMBuffer *input, bool endOfStream, std::vector<float> &output) {
    __block bool handedOver = false;
    AVAudioConverterInputBlock supply =
        ^AVAudioBuffer *(AVAudioPacketCount, AVAudioConverterInputStatus *status) {
      if (input && !handedOver) {
        handedOver = true;
        *status = AVAudioConverterInputStatus_HaveData;
        return input;
      }
      *status = endOfStream ? AVAudioConverterInputStatus_EndOfStream
                            : AVAudioConverterInputStatus_NoDataNow;
      return nil;
    };
    for (;;) {
      AVAudioPCMBuffer *chunk = [[AVAudioPCMBuffer alloc] initWithPCMFormat:output_
                                                              frameCapacity:kChunkFrames];
      if (!chunk) return false;
      NSError *error = nil;
      AVAudioConverterOutputStatus status = [converter_ convertToBuffer:chunk
                                                                  error:&error
                                                     withInputFromBlock:supply];
      const float *samples = chunk.floatChannelData[0];
      output.insert(output.end(), samples, samples + chunk.frameLength);
      if (status == AVAudioConverterOutputStatus_Error) {
        Log::write("audio conversion failed: " + describe(error));
        return false;
      }
      if (status != AVAudioConverterOutputStatus_HaveData) return true;
    }
  }

  AVAudioConverter *converter_;
  AVAudioFormat *output_;
  int inputChannels_;
  bool finished_ = false;
};

} // namespace

std::unique_ptr<AudioConverter> AudioConverterAdapter::make(double inputRate, int inputChannels,
                                                            double outputRate) {
  if (inputRate <= 0 || inputChannels <= 0 || outputRate <= 0) return nullptr;
  AVAudioFormat *from = [[AVAudioFormat alloc]
      initStandardFormatWithSampleRate:inputRate
                              channels:static_cast<AVAudioChannelCount>(inputChannels)];
  AVAudioFormat *to = [[AVAudioFormat alloc] initStandardFormatWithSampleRate:outputRate
                                                                     channels:1];
  if (!from || !to) return nullptr;
  AVAudioConverter *converter = [[AVAudioConverter alloc] initFromFormat:from toFormat:to];
  if (!converter) {
    Log::write(fmt::format("audio converter unavailable: {} Hz, {} channels to {} Hz", inputRate,
                           inputChannels, outputRate));
    return nullptr;
  }
  converter.downmix = inputChannels > 1; // mix the channels rather than keep the first
  return std::make_unique<AVConverter>(converter, to, inputChannels);
}

} // namespace selvar
