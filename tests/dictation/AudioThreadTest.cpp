// The audio thread against the main thread: buffers keep arriving while the main queue moves
// the recognition request, ends the recording and finishes the WAV file. Run under
// ThreadSanitizer (-DSELVAR_TSAN=ON) to check the hand-offs, and plainly for order and loss.

#include "dictation/DictationRig.h"
#include "dictation/LocalServerBridge.h"
#include "platform/linux/SoxrAudioConverter.h"
#include "servers/RecordingHttpSender.h"
#include "servers/ServerSession.h"
#include "servers/TestServers.h"
#include "servers/WAVRecorder.h"

#include <atomic>
#include <cmath>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <thread>

namespace selvar::testing {
namespace {

AudioBuffer numbered(int n) {
  return AudioBuffer::planar(std::vector<float>(2048, static_cast<float>(n)), 1, 48000);
}

TEST(AudioThreadTest, RequestBoxKeepsEveryBufferInOrderAcrossRequestChanges) {
  constexpr int kBuffers = 5000;
  RequestBox box;
  std::vector<std::shared_ptr<FakeRecognitionRequest>> requests{
      std::make_shared<FakeRecognitionRequest>()};
  box.set(requests.back());
  std::atomic<bool> done{false};
  std::thread audio([&] {
    for (int i = 0; i < kBuffers; ++i)
      box.append(numbered(i));
    done = true;
  });
  while (!done) {
    requests.push_back(std::make_shared<FakeRecognitionRequest>());
    box.set(requests.back());
    if (auto current = box.current()) current->endAudio();
  }
  audio.join();
  std::vector<int> seen;
  for (const auto &request : requests)
    for (const auto &buffer : request->buffers())
      seen.push_back(static_cast<int>(buffer.channel(0)[0]));
  ASSERT_EQ(seen.size(), static_cast<std::size_t>(kBuffers));
  for (int i = 0; i < kBuffers; ++i)
    ASSERT_EQ(seen[static_cast<std::size_t>(i)], i);
}

// A request whose first append (the hand-over of the held buffers) waits until the audio
// thread has appended `waitFor` buffers in total, so new buffers surely arrive mid-hand-over.
class GatedRequest : public FakeRecognitionRequest {
public:
  GatedRequest(std::atomic<int> &appended, int waitFor) : appended_(appended), waitFor_(waitFor) {}
  void append(const AudioBuffer &buffer) override {
    if (!entered.exchange(true))
      while (appended_ < waitFor_)
        std::this_thread::yield();
    FakeRecognitionRequest::append(buffer);
  }
  std::atomic<bool> entered{false};

private:
  std::atomic<int> &appended_;
  int waitFor_;
};

TEST(AudioThreadTest, HeldBuffersReachTheFirstRequestBeforeTheOnesArrivingMeanwhile) {
  RequestBox box;
  std::atomic<int> appended{0};
  auto request = std::make_shared<GatedRequest>(appended, 600);
  std::thread audio([&] {
    for (int i = 0; i < 3000; ++i) {
      if (i == 300)
        while (!request->entered)
          std::this_thread::yield();
      box.append(numbered(i));
      ++appended;
    }
  });
  while (appended < 300)
    std::this_thread::yield();
  box.set(request);
  audio.join();
  auto buffers = request->buffers();
  ASSERT_EQ(buffers.size(), 3000u);
  for (std::size_t i = 0; i < buffers.size(); ++i)
    ASSERT_EQ(buffers[i].channel(0)[0], static_cast<float>(i));
}

// Feeds speech on its own thread until the engine no longer takes it.
class FeedingThread {
public:
  FeedingThread(FakeAudioSystem &audio, FakeAudioEngine &engine)
      : thread_([this, &audio, serial = engine.serial()] {
          auto buffer = makeToneBuffer(kSpeech, 48000);
          while (audio.feed(serial, buffer))
            ++fed;
        }) {}
  ~FeedingThread() { thread_.join(); }
  std::atomic<int> fed{0};

private:
  std::thread thread_;
};

void settleWhileFeeding(DictationRig &rig, FeedingThread &feeding, int buffers) {
  while (feeding.fed < buffers)
    rig.env.queue.runUntilIdle();
  rig.env.queue.runUntilIdle();
}

TEST(AudioThreadTest, MainQueueEndsAServerRecordingWhileTheAudioThreadWrites) {
  SoxrAudioConverterFactory soxr;
  DictationRig rig(makeWavRecording);
  services().audioConverters = &soxr;
  rig.env.settings.setValue(PrefKey::dictationEngine, std::string("server-transcription"));
  rig.servers.running.insert("server-transcription");
  rig.press();
  ASSERT_EQ(rig.state(), DictationController::State::listening);
  {
    FeedingThread feeding(rig.env.audio, *rig.env.audio.runningEngine());
    settleWhileFeeding(rig, feeding, 100);
    rig.controller->endRecording(); // removes the tap, then finishes the file
  }
  ASSERT_EQ(rig.servers.transcriptions.size(), 1u);
  const auto &wav = rig.servers.transcriptions[0].wav;
  ASSERT_GT(wav.size(), 44u);
  EXPECT_EQ(wav.substr(0, 4), "RIFF");
  EXPECT_EQ(wav.substr(8, 8), "WAVEfmt ");
  rig.env.queue.runUntilIdle();
}

TEST(AudioThreadTest, MainQueueEndsAnOnDeviceRecordingWhileTheAudioThreadFeedsTheRequest) {
  DictationRig rig;
  rig.press();
  auto *request = rig.env.speech.lastRequest();
  {
    FeedingThread feeding(rig.env.audio, *rig.env.audio.runningEngine());
    settleWhileFeeding(rig, feeding, 100);
    rig.controller->endRecording();
    EXPECT_TRUE(request->audioEnded());
  }
  rig.env.queue.runUntilIdle();
  EXPECT_GE(request->bufferCount(), 100u);
  rig.task().final("steady");
  rig.settle();
  EXPECT_EQ(rig.pasted(), "Steady");
}

HttpReply sessionAnswer(const HttpRequest &request) {
  HttpReply reply;
  reply.status = request.method == "PUT" ? 204 : 200;
  if (request.url.ends_with("/v1/sessions")) reply.body = R"({"id":"s1"})";
  if (request.url.ends_with("/finish")) reply.body = R"({"text":"heard"})";
  return reply;
}

// The recorder hands its samples to a session on the audio thread while the main queue's timer
// and the HTTP thread make the chunk requests: no request may be made on the audio thread,
// and the chunks carry exactly what the file holds, in order.
TEST(AudioThreadTest, SessionChunksAreMadeOffTheAudioThreadAndCarryTheWholeFile) {
  FakeEnvironment env;
  SoxrAudioConverterFactory soxr;
  auto recorder = WAVRecorder::create(48000, 1, &soxr);
  ASSERT_TRUE(recorder);
  RecordingHttpSender http;
  auto session =
      ServerSession::open(LocalServer::transcriptionEndpoint(), "", "", http, &env.queue);
  recorder->setListener(
      [session](std::span<const std::int16_t> samples) { session->append(samples); });

  std::atomic<bool> spoken{false}, answered{false};
  std::thread::id audioThread;
  std::thread audio([&] {
    audioThread = std::this_thread::get_id();
    for (int n = 0; n < 300; ++n) {
      std::vector<float> wave(2048);
      for (int i = 0; i < 2048; ++i)
        wave[i] = 0.5f * std::sin(0.013f * static_cast<float>(n * 2048 + i));
      recorder->append(AudioBuffer::planar(std::move(wave), 1, 48000));
      // Every second of audio, let a chunk go up meanwhile, as it would in real time.
      if (n % 24 == 23) waitFor([&, before = http.count()] { return http.count() > before; });
    }
    spoken = true;
  });
  std::thread worker([&] {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!answered && std::chrono::steady_clock::now() < deadline)
      if (!http.answerNext(sessionAnswer)) std::this_thread::yield();
  });
  while (!spoken)
    env.queue.advance(ServerSession::kPumpInterval);
  audio.join();
  auto wav = recorder->finish();
  session->finish(5, [&](ServerResult<std::string> result) {
    EXPECT_TRUE(result.ok());
    answered = true;
  });
  worker.join();
  ASSERT_TRUE(answered);
  ASSERT_TRUE(wav);

  std::ifstream in(*wav, std::ios::binary);
  std::string file((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::string streamed;
  auto sent = http.sent();
  for (const auto &request : sent) {
    EXPECT_NE(request.thread, audioThread) << request.request.method << " " << request.request.url;
    if (request.request.method == "PUT") streamed += request.request.body;
  }
  EXPECT_GT(sent.size(), 12u);
  // The header takes the place of the first 44 bytes of audio; the rest is the stream.
  ASSERT_EQ(streamed.size(), file.size());
  EXPECT_TRUE(streamed.substr(WAVRecorder::kHeaderBytes) == file.substr(WAVRecorder::kHeaderBytes));
}

} // namespace
} // namespace selvar::testing
