#include "servers/WAVRecorder.h"

#include "platform/AudioConverter.h"
#include "platform/FileLocations.h"
#include "platform/Services.h"
#include "records/Log.h"
#include "support/Uuid.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

namespace selvar {

namespace fs = std::filesystem;

namespace {

// The header's RIFF size (byteCount + 36) must fit in 32 bits; keep whole samples.
constexpr std::int64_t kMaxDataBytes = (0xFFFFFFFFLL - 36) & ~1LL;

void putU32(std::uint8_t *p, std::uint32_t v) {
  for (int i = 0; i < 4; ++i)
    p[i] = static_cast<std::uint8_t>(v >> (8 * i));
}
void putU16(std::uint8_t *p, std::uint16_t v) {
  p[0] = static_cast<std::uint8_t>(v);
  p[1] = static_cast<std::uint8_t>(v >> 8);
}

bool writeAll(int fd, const std::uint8_t *data, std::size_t size, off_t *at = nullptr) {
  while (size > 0) {
    ssize_t n = at ? ::pwrite(fd, data, size, *at) : ::write(fd, data, size);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    data += n;
    size -= static_cast<std::size_t>(n);
    if (at) *at += n;
  }
  return true;
}

} // namespace

std::array<std::uint8_t, WAVRecorder::kHeaderBytes> WAVRecorder::header(std::int64_t byteCount) {
  if (byteCount < 0 || byteCount + 36 > 0xFFFFFFFFLL) std::abort(); // append never gets here
  std::array<std::uint8_t, kHeaderBytes> h{};
  std::memcpy(h.data(), "RIFF", 4);
  putU32(&h[4], static_cast<std::uint32_t>(byteCount + 36));
  std::memcpy(&h[8], "WAVEfmt ", 8);
  putU32(&h[16], 16);
  putU16(&h[20], 1); // PCM
  putU16(&h[22], 1); // channels
  putU32(&h[24], kSampleRate);
  putU32(&h[28], kSampleRate * 2);
  putU16(&h[32], 2);
  putU16(&h[34], 16);
  std::memcpy(&h[36], "data", 4);
  putU32(&h[40], static_cast<std::uint32_t>(byteCount));
  return h;
}

std::unique_ptr<WAVRecorder> WAVRecorder::create(double sampleRate, int channelCount,
                                                 AudioConverterFactory *converters,
                                                 const fs::path &directory) {
  if (!converters) converters = services().audioConverters;
  if (!converters) {
    Log::write("wav recorder: no audio converter available");
    return nullptr;
  }
  auto converter = converters->make(sampleRate, channelCount, kSampleRate);
  if (!converter) {
    Log::write(
        fmt::format("wav recorder: cannot convert {} Hz × {} channels", sampleRate, channelCount));
    return nullptr;
  }
  fs::path dir = directory.empty() ? services().files->tempDir() : directory;
  fs::path url = dir / ("selvar-" + makeUuidString() + ".wav");
  int fd = ::open(url.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0) {
    Log::write("wav recorder: cannot create " + url.string() + ": " + std::strerror(errno));
    return nullptr;
  }
  return std::unique_ptr<WAVRecorder>(new WAVRecorder(
      std::move(url), fd, converters, std::move(converter), sampleRate, channelCount));
}

WAVRecorder::WAVRecorder(fs::path url, int fd, AudioConverterFactory *converters,
                         std::unique_ptr<AudioConverter> converter, double rate, int channels)
    : url_(std::move(url)), fd_(fd), converters_(converters), converter_(std::move(converter)),
      rate_(rate), channels_(channels) {}

WAVRecorder::~WAVRecorder() {
  std::lock_guard guard(lock_);
  if (fd_ >= 0) ::close(fd_);
  std::error_code ec;
  if (!finished_) fs::remove(url_, ec);
}

std::int64_t WAVRecorder::byteCount() const {
  std::lock_guard guard(lock_);
  return byteCount_;
}

void WAVRecorder::write(const std::vector<std::int16_t> &samples) {
  if (fd_ < 0 || writeFailed_ || samples.empty()) return;
  std::size_t count = samples.size();
  auto room = static_cast<std::size_t>((kMaxDataBytes - byteCount_) / 2);
  if (count > room) {
    Log::write("wav recorder: the recording reached the largest size a wav file can hold");
    count = room;
    writeFailed_ = true; // nothing more fits
  }
  bytes_.resize(count * 2);
  for (std::size_t i = 0; i < count; ++i)
    putU16(&bytes_[2 * i], static_cast<std::uint16_t>(samples[i]));
  if (!writeAll(fd_, bytes_.data(), bytes_.size())) {
    Log::write("wav recorder: write failed: " + std::string(std::strerror(errno)));
    writeFailed_ = true;
    // What reached the disk stays usable: count it by the file's actual length.
    off_t end = ::lseek(fd_, 0, SEEK_END);
    if (end >= 0) byteCount_ = end & ~static_cast<off_t>(1);
    if (::ftruncate(fd_, static_cast<off_t>(byteCount_)) != 0) byteCount_ = 0;
    return;
  }
  byteCount_ += static_cast<std::int64_t>(bytes_.size());
}

void WAVRecorder::drainConverter() {
  if (!converter_) return;
  samples_.clear();
  converter_->finish(samples_);
  write(samples_);
  if (listener_ && !samples_.empty()) listener_(samples_);
  converter_.reset();
}

bool WAVRecorder::ensureConverter(const AudioBuffer &buffer) {
  if (converter_ && buffer.sampleRate == rate_ && buffer.channelCount == channels_) return true;
  drainConverter();
  rate_ = buffer.sampleRate;
  channels_ = buffer.channelCount;
  converter_ = converters_->make(rate_, channels_, kSampleRate);
  if (!converter_)
    Log::write(fmt::format("wav recorder: cannot convert {} Hz × {} channels", rate_, channels_));
  return converter_ != nullptr;
}

void WAVRecorder::append(const AudioBuffer &buffer) {
  if (buffer.frameCount == 0 || buffer.channelCount < 1 || !buffer.samples) return;
  std::lock_guard guard(lock_);
  if (finished_ || fd_ < 0 || !ensureConverter(buffer)) return;
  samples_.clear();
  if (!converter_->convert(buffer, samples_)) return;
  write(samples_);
  // A sample the disk refused still goes to the session: the file is only the fallback.
  if (listener_ && !samples_.empty()) listener_(samples_);
}

void WAVRecorder::setListener(std::function<void(std::span<const std::int16_t>)> listener) {
  std::lock_guard guard(lock_);
  listener_ = std::move(listener);
}

std::optional<fs::path> WAVRecorder::finish() {
  std::lock_guard guard(lock_);
  if (finished_ || fd_ < 0) return std::nullopt;
  drainConverter();
  finished_ = true;
  auto h = header(byteCount_);
  off_t at = 0;
  bool ok = writeAll(fd_, h.data(), h.size(), &at);
  if (!ok) Log::write("wav recorder: header write failed: " + std::string(std::strerror(errno)));
  if (::close(fd_) != 0 && ok) {
    Log::write("wav recorder: close failed: " + std::string(std::strerror(errno)));
    ok = false;
  }
  fd_ = -1;
  std::error_code ec;
  if (byteCount_ < kMinimumBytes) {
    fs::remove(url_, ec);
    return std::nullopt;
  }
  if (!ok) return std::nullopt;
  return url_;
}

} // namespace selvar
