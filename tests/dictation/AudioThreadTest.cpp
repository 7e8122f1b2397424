// The audio thread against the main thread: buffers keep arriving while the main queue moves
// the recognition request, ends the recording and finishes the WAV file. Run under
// ThreadSanitizer (-DSELVAR_TSAN=ON) to check the hand-offs, and plainly for order and loss.

#include "dictation/DictationRig.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>

namespace selvar::testing {
namespace {

AudioBuffer numbered(int n) {
  return AudioBuffer::planar(std::vector<float>(2048, static_cast<float>(n)), 1, 48000);
}

TEST(AudioThreadTest, RequestBoxKeepsEveryBufferInOrderAcrossRequestChanges) {
  constexpr int kBuffers = 20000;
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

TEST(AudioThreadTest, MainQueueEndsAnOnDeviceRecordingWhileTheAudioThreadFeedsTheRequest) {
  DictationRig rig;
  rig.press();
  auto *request = rig.env.speech.lastRequest();
  {
    FeedingThread feeding(rig.env.audio, *rig.env.audio.runningEngine());
    settleWhileFeeding(rig, feeding, 300);
    rig.controller->endRecording();
    EXPECT_TRUE(request->audioEnded());
  }
  rig.env.queue.runUntilIdle();
  EXPECT_GE(request->bufferCount(), 300u);
  rig.task().final("steady");
  rig.settle();
  EXPECT_EQ(rig.pasted(), "Steady");
}

} // namespace
} // namespace selvar::testing
