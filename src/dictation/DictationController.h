#pragma once
// The single owner of one dictation ("utterance") from the trigger to its delivered text: the
// capture, the recognition segments, hands-free listening, the server path, the commit with its
// clean-up and rewrite, the cancel confirmation, and delivery. Main thread only, except for the
// few counters the audio tap updates (atomics). Every asynchronous step carries the generation
// it started under and does nothing once the generation has moved on.

#include "dictation/DictationError.h"
#include "dictation/DictationNeighbours.h"
#include "dictation/RequestBox.h"
#include "hud/HUD.h"
#include "insertion/FocusAnchor.h"
#include "platform/AudioEngine.h"
#include "platform/MainQueue.h"
#include "platform/SpeechRecognizer.h"

#include <atomic>
#include <filesystem>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace selvar {

namespace Diagnostics {
class Utterance;
}
class SpectrumAnalyzer;
class HotkeyHandler;

class DictationController {
public:
  enum class State { idle, listening, transcribing };
  enum class Purpose { insert, feedback };

  explicit DictationController(DictationNeighbours neighbours);
  ~DictationController();
  DictationController(const DictationController &) = delete;
  DictationController &operator=(const DictationController &) = delete;

  // Installs the hotkey, applies the hands-free rule and follows trigger changes.
  void start();
  void beginRecording();
  void endRecording();
  void beginFeedbackRecording();
  void runTestUtterance(double seconds);
  void pasteLast();
  void abort(int gen, const std::string &message);
  void flash(const std::string &message);
  void commit(const std::string &text, int gen, const std::string &reason,
              const std::optional<DictationError> &error);

  // The cancel confirmation and held delivery (driven by the key handling).
  void escapePressed();
  bool disarmCancel();
  void armCancelWindow();
  void returnPressed();
  void flushPendingInsert();
  void continueRecording();
  void deliverHeld(const std::string &text);
  // The trigger pressed while the previous utterance is still being transcribed.
  void supersedeTranscription();

  // Server-path recordings that ended without text are kept; the newest one, for a retry.
  std::optional<std::filesystem::path> lastFailedRecording() const { return lastFailedRecording_; }
  // Sends a kept recording to the transcription server again and delivers its text into the
  // frontmost application. The file is removed once it produced text.
  // `done` (optional) learns the outcome: the delivered text, or why nothing was delivered.
  using RetryDone = std::function<void(bool delivered, const std::string &textOrReason)>;
  void retryFailedRecording(const std::filesystem::path &wav, RetryDone done = {});

  State state() const { return state_.load(std::memory_order_relaxed); }
  Purpose purpose() const { return purpose_; }
  int generation() const { return generation_; }
  bool cancelArmed() const { return cancelArmed_; }
  bool hasPendingInsert() const { return static_cast<bool>(pendingInsert_); }
  const std::string &resumePrefix() const { return resumePrefix_; }
  bool monitorRunning() const { return static_cast<bool>(monitor_); }
  double captureRate() const { return captureRate_.load(std::memory_order_relaxed); }
  HotkeyHandler &hotkeys() { return *hotkeys_; }
  HUD &hud() { return *hud_; }

  static constexpr float kSpeechLevel = 0.012f;
  static constexpr double kSilenceEndSeconds = 1.4;
  static constexpr std::size_t kTapFrames = 2048;

private:
  friend class HotkeyHandler;
  using Recognizer = std::shared_ptr<SpeechRecognizer>;

  // Lifecycle.
  void applyHandsFreeRule();
  bool passesEntryChecks(std::optional<ServerEndpoint> &endpoint, Recognizer &recognizer);
  bool serverReadyOrStarting(const std::string &engineId);
  void serverStartFinished(bool started);
  void resetUtterance();
  void resetPerUtterance();
  void enterListening(int gen);
  void armAutoStop();
  void hidePill();
  void scheduleFlashHide();

  // Capture (on-device path and shared tap).
  void startCapture(int gen, Recognizer recognizer, int attempt);
  void retryCapture(int gen, Recognizer recognizer, int attempt);
  std::optional<AudioFormat> prepareInput(AudioEngine &engine);
  void logCaptureInput(AudioEngine &engine, int attempt);
  void installTap(AudioEngine &engine, AudioFormat format);
  void tapBuffer(const AudioBuffer &buffer, int gen, SpectrumAnalyzer &analyzer,
                 WavRecording *recorder);
  void levelsArrived(int gen, float rms, std::size_t frames, std::vector<float> bands);
  void startSegment(int gen, Recognizer recognizer);
  void notePartial(const std::string &text);
  void segmentEnded(const std::string &text, const std::optional<PlatformError> &error, int gen,
                    Recognizer recognizer);
  void scheduleRollover(int gen);
  void checkRolloverHonoured(int gen, int restartsBefore);
  void observeConfigChanges(int gen);
  void removeConfigObserver();
  void handleConfigChange(int gen);
  void stopEngine();
  std::string languagePreference() const;

  // Hands-free.
  void startMonitor();
  void stopMonitor();
  void monitorBuffer(const AudioBuffer &buffer, SpectrumAnalyzer &analyzer, std::size_t keep);
  void speechOnset();
  void trackSilence(float rms);
  void flushPreroll(AudioFormat format);

  // Server path.
  void startServerCapture(int gen, const ServerEndpoint &endpoint, int attempt);
  void sendRecording(int gen);
  void sendWholeRecording(int gen, const std::filesystem::path &wav);
  void sessionReplied(int gen, const std::filesystem::path &wav,
                      const std::weak_ptr<TranscriptionSession> &session, ServerReply reply);
  void serverReplied(int gen, std::optional<std::filesystem::path> wav, ServerReply reply);
  void keepFailedRecording(const std::filesystem::path &wav);
  void discardRecorder();

  // Ending and delivery.
  void armTranscriptionFallback(int gen);
  void teardownCapture();
  std::string cleanUp(const std::string &text);
  void deliver(const std::string &text, double seconds, double latency);
  void insert(const std::string &text, const std::optional<RunningApp> &app,
              const std::optional<FocusAnchor> &anchor);
  // The inserter, with the pill telling the user when the text could only be copied.
  void insertText(const std::string &text, const std::optional<RunningApp> &app,
                  const std::optional<FocusAnchor> &anchor);
  void rewriteThenInsert(const ServerEndpoint &endpoint, const std::string &text,
                         const std::optional<RunningApp> &app,
                         const std::optional<FocusAnchor> &anchor);
  std::string cancelHint() const;

  bool confirmationOpen() const;
  static int nextGeneration(int generation);

  // Runs work only while this controller still exists.
  std::function<void()> guarded(std::function<void()> work);
  MainQueue &queue() const;
  double now() const;

  DictationNeighbours neighbours_;
  std::unique_ptr<HUD> hud_;
  std::unique_ptr<AudioEngine> engine_;
  std::shared_ptr<RecognitionRequest> request_;
  RequestBox requestBox_;
  std::string committedText_;
  int segmentRestarts_ = 0;
  std::optional<AudioEngine::Token> configObserver_;
  std::shared_ptr<RecognitionTask> task_;
  std::unique_ptr<HotkeyHandler> hotkeys_;
  std::optional<double> startedAt_;
  std::optional<double> transcribeStartedAt_;
  std::string longestPartial_;
  std::shared_ptr<Diagnostics::Utterance> utterance_;
  double lastLevelPush_ = -std::numeric_limits<double>::infinity();
  std::shared_ptr<SpectrumAnalyzer> analyzer_;
  int generation_ = 0;
  TimerRef maxDurationTimer_;
  TimerRef rolloverTimer_;
  std::optional<RunningApp> targetApp_;
  std::optional<FocusAnchor> focusAnchor_;
  std::string bestHypothesis_;
  // The latest partial of the running segment, and which segment is the running one.
  std::string segmentPartial_;
  int segmentSerial_ = 0;
  bool wantsRecording_ = false;
  std::optional<ServerEndpoint> serverEndpoint_;
  std::shared_ptr<WavRecording> recorder_;
  // Transcription while recording, when the server offers it; the WAV file stays the fallback.
  std::shared_ptr<TranscriptionSession> session_;
  // The finished WAV of the utterance now with the server.
  std::optional<std::filesystem::path> inFlightWav_;
  bool cancelArmed_ = false;
  TimerRef cancelArmTimer_;
  double lastEscapeAt_ = -std::numeric_limits<double>::infinity();
  std::function<void()> pendingInsert_;
  std::optional<std::string> pendingText_;
  std::string resumePrefix_;
  std::atomic<State> state_{State::idle};
  std::unique_ptr<AudioEngine> monitor_;
  std::mutex prerollMutex_;
  std::vector<AudioBuffer> preroll_;
  Purpose purpose_ = Purpose::insert;
  // Written by the audio tap, read on the main thread at commit.
  std::atomic<float> capturePeakRMS_{0};
  std::atomic<int> voicedBuffers_{0};
  std::atomic<int> speechRun_{0};
  std::atomic<int> silenceRun_{0};
  std::atomic<double> captureRate_{48000};
  std::vector<AudioBuffer> prerollForNextCapture_;
  // The trigger mode is "automatic", mirrored for the audio thread.
  std::atomic<bool> handsFreeMode_{false};
  std::optional<std::filesystem::path> lastFailedRecording_;
  std::optional<std::uint64_t> triggerObserver_;
  std::shared_ptr<int> lifetime_ = std::make_shared<int>(0);
};

std::string_view stateName(DictationController::State state);

} // namespace selvar
