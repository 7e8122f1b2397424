// Speed of the server path: converting a minute of captured audio to the 16 kHz WAV file
// (target: under 50 ms), and one transcription exchange with a local server that answers at
// once (target: under 2 ms of client overhead).

#include "platform/fake/FakeEnvironment.h"
#include "platform/linux/SoxrAudioConverter.h"
#include "servers/TranscriptionClient.h"
#include "servers/WAVRecorder.h"

#include <benchmark/benchmark.h>
#include <cmath>
#include <condition_variable>
#include <httplib.h>
#include <numbers>
#include <thread>

namespace selvar {
namespace {

std::vector<AudioBuffer> capturedMinute() {
  const double rate = 48000;
  const std::size_t chunk = 2048, total = 60 * 48000;
  std::vector<AudioBuffer> buffers;
  for (std::size_t at = 0; at < total; at += chunk) {
    std::size_t n = std::min(chunk, total - at);
    std::vector<float> data(2 * n);
    for (std::size_t i = 0; i < n; ++i) {
      double t = static_cast<double>(at + i) / rate;
      data[i] = static_cast<float>(0.3 * std::sin(2 * std::numbers::pi * 220 * t));
      data[n + i] = static_cast<float>(0.2 * std::sin(2 * std::numbers::pi * 3100 * t));
    }
    buffers.push_back(AudioBuffer::planar(std::move(data), 2, rate));
  }
  return buffers;
}

void BM_WavConversion60sStereo48k(benchmark::State &state) {
  FakeEnvironment env;
  SoxrAudioConverterFactory soxr;
  auto buffers = capturedMinute();
  for (auto _ : state) {
    auto recorder = WAVRecorder::create(48000, 2, &soxr, env.root());
    for (const auto &b : buffers)
      recorder->append(b);
    auto url = recorder->finish();
    benchmark::DoNotOptimize(url);
    state.PauseTiming();
    std::filesystem::remove(*url);
    state.ResumeTiming();
  }
}
BENCHMARK(BM_WavConversion60sStereo48k)->Unit(benchmark::kMillisecond);

void BM_TranscriptionRoundTrip(benchmark::State &state) {
  FakeEnvironment env;
  httplib::Server server;
  server.set_keep_alive_max_count(1'000'000);
  server.set_tcp_nodelay(true);
  server.Post(TranscriptionClient::kTranscriptionPath,
              [](const httplib::Request &, httplib::Response &res) {
                res.set_content(R"({"text":"hello world"})", "application/json");
              });
  int port = server.bind_to_any_port("127.0.0.1");
  std::thread listener([&] { server.listen_after_bind(); });
  while (!server.is_running())
    std::this_thread::yield();

  TranscriptionClient::Job job;
  job.audio = std::make_shared<const std::string>(44 + 32000, '\x01'); // one second of audio
  job.endpoint = LocalServer::transcriptionEndpoint();
  job.endpoint.port = port;
  std::mutex m;
  std::condition_variable cv;
  for (auto _ : state) {
    bool done = false;
    TranscriptionClient::attemptTranscribe(job, {TranscriptionClient::kTranscriptionPath, true},
                                           [&](ServerResult<std::string> r) {
                                             if (!r.ok())
                                               state.SkipWithError(describe(r.error()).c_str());
                                             std::lock_guard lock(m);
                                             done = true;
                                             cv.notify_one();
                                           });
    std::unique_lock lock(m);
    cv.wait(lock, [&] { return done; });
  }
  server.stop();
  listener.join();
}
BENCHMARK(BM_TranscriptionRoundTrip)->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace selvar
