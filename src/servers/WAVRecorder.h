#pragma once
// Writes the audio of one utterance to a temporary WAV file in the form the transcription
// server takes: 16 kHz, mono, signed 16-bit little-endian PCM. Buffers arrive on the capture
// thread; finish() runs on the controller's thread; one lock serialises both.

#include "platform/AudioBuffer.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

namespace selvar {

class AudioConverter;
class AudioConverterFactory;

class WAVRecorder {
public:
  static constexpr int kSampleRate = 16000;
  static constexpr std::size_t kHeaderBytes = 44;
  // Recordings with fewer PCM bytes (about an eighth of a second) are not worth sending.
  static constexpr std::int64_t kMinimumBytes = 4001;

  // A recorder for buffers of the given format, writing "selvar-<UUID>.wav" in the directory
  // (the temporary folder when empty). Null when no converter can be made for the format or
  // the file cannot be created. The factory defaults to the installed one.
  static std::unique_ptr<WAVRecorder> create(double sampleRate, int channelCount,
                                             AudioConverterFactory *converters = nullptr,
                                             const std::filesystem::path &directory = {});
  // A recording that was never finished is deleted: it holds the user's voice.
  ~WAVRecorder();
  WAVRecorder(const WAVRecorder &) = delete;
  WAVRecorder &operator=(const WAVRecorder &) = delete;

  const std::filesystem::path &url() const { return url_; }
  // Converts and writes one captured buffer. A buffer in another format than the one before
  // (the input device changed) starts a new converter.
  void append(const AudioBuffer &buffer);
  // Flushes the converter and writes the header over the first 44 bytes. Returns the file,
  // or nothing when it holds fewer than kMinimumBytes (the file is then deleted) or the
  // header could not be written. The file is byteCount long; its header announces 44 more.
  std::optional<std::filesystem::path> finish();
  std::int64_t byteCount() const;
  // Also hands every converted block of samples to the listener, under the recorder's lock on
  // the capture thread, so the listener must not block.
  void setListener(std::function<void(std::span<const std::int16_t>)> listener);

  // The 44 header bytes for byteCount bytes of PCM data. byteCount + 36 must fit in 32 bits.
  static std::array<std::uint8_t, kHeaderBytes> header(std::int64_t byteCount);

private:
  WAVRecorder(std::filesystem::path url, int fd, AudioConverterFactory *converters,
              std::unique_ptr<AudioConverter> converter, double rate, int channels);
  bool ensureConverter(const AudioBuffer &buffer);
  void drainConverter();
  void write(const std::vector<std::int16_t> &samples);

  mutable std::mutex lock_;
  std::filesystem::path url_;
  int fd_ = -1;
  AudioConverterFactory *converters_;
  std::unique_ptr<AudioConverter> converter_;
  double rate_;
  int channels_;
  std::int64_t byteCount_ = 0;
  bool finished_ = false;
  bool writeFailed_ = false;
  std::vector<std::int16_t> samples_;
  std::function<void(std::span<const std::int16_t>)> listener_;
  std::vector<std::uint8_t> bytes_;
};

} // namespace selvar
