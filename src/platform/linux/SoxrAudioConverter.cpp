#include "platform/linux/SoxrAudioConverter.h"

#include "records/Log.h"

#include <cmath>
#include <soxr.h>

namespace selvar {

namespace {

class SoxrAudioConverter : public AudioConverter {
public:
  using AudioConverter::convert;
  using AudioConverter::finish;

  SoxrAudioConverter(soxr_t soxr, double ratio, int channels)
      : soxr_(soxr), ratio_(ratio), channels_(channels) {}
  ~SoxrAudioConverter() override { soxr_delete(soxr_); }

  bool convert(const AudioBuffer &input, std::vector<float> &output) override {
    if (finished_ || input.channelCount != channels_) return false;
    downmix(input);
    return run(mono_.data(), mono_.size(), output);
  }

  bool finish(std::vector<float> &output) override {
    if (finished_) return true;
    finished_ = true;
    for (;;) {
      std::size_t start = output.size(), room = 4096, produced = 0;
      output.resize(start + room);
      soxr_error_t error =
          soxr_process(soxr_, nullptr, 0, nullptr, output.data() + start, room, &produced);
      output.resize(start + produced);
      if (error) return fail(error);
      if (produced < room) return true;
    }
  }

private:
  // The average of the channels; written as plain loops over raw pointers so they vectorise.
  void downmix(const AudioBuffer &input) {
    std::size_t n = input.frameCount;
    mono_.resize(n);
    float *out = mono_.data();
    const float scale = 1.0f / static_cast<float>(channels_);
    const float *first = input.channel(0).data();
    for (std::size_t i = 0; i < n; ++i)
      out[i] = first[i] * scale;
    for (int c = 1; c < channels_; ++c) {
      const float *in = input.channel(c).data();
      for (std::size_t i = 0; i < n; ++i)
        out[i] += in[i] * scale;
    }
  }

  bool run(const float *in, std::size_t count, std::vector<float> &output) {
    if (count == 0) return true; // a null input would read as the end of the stream
    std::size_t offset = 0;
    for (;;) {
      std::size_t start = output.size();
      std::size_t room = static_cast<std::size_t>(std::ceil((count - offset) * ratio_)) + 256;
      std::size_t used = 0, produced = 0;
      output.resize(start + room);
      soxr_error_t error = soxr_process(soxr_, in + offset, count - offset, &used,
                                        output.data() + start, room, &produced);
      output.resize(start + produced);
      if (error) return fail(error);
      offset += used;
      if (offset >= count && produced < room) return true;
    }
  }

  bool fail(soxr_error_t error) {
    Log::write(std::string("audio conversion failed: ") + error);
    return false;
  }

  soxr_t soxr_;
  double ratio_;
  int channels_;
  bool finished_ = false;
  std::vector<float> mono_;
};

} // namespace

std::unique_ptr<AudioConverter> SoxrAudioConverterFactory::make(double inputRate, int inputChannels,
                                                                double outputRate) {
  if (!(inputRate > 0) || !(outputRate > 0) || inputChannels < 1 || !std::isfinite(inputRate))
    return nullptr;
  soxr_error_t error = nullptr;
  soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
  soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
  soxr_t soxr = soxr_create(inputRate, outputRate, 1, &error, &io, &quality, nullptr);
  if (error || !soxr) {
    Log::write(std::string("audio converter unavailable: ") + (error ? error : "unknown error"));
    return nullptr;
  }
  return std::make_unique<SoxrAudioConverter>(soxr, outputRate / inputRate, inputChannels);
}

} // namespace selvar
