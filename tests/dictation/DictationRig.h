#pragma once
// A dictation controller on fakes, driven the way a user drives it: keys through the fake
// event tap, audio through the fake microphone, results through the fake recognizer and
// server, and time through the manual main queue.

#include "dictation/DictationController.h"
#include "hotkeys/KeyChoices.h"
#include "platform/fake/FakeEnvironment.h"
#include "platform/fake/FakeHudPanel.h"
#include "records/Diagnostics.h"
#include "support/LogText.h"

#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <set>

namespace selvar::testing {

// A session whose end the test answers by hand; counts the samples it was given.
class ScriptedSession : public TranscriptionSession {
public:
  void append(std::span<const std::int16_t> samples) override {
    std::lock_guard lock(mutex);
    received += samples.size();
  }
  void finish(double timeout, std::function<void(ServerReply)> completion) override {
    finishTimeout = timeout;
    reply = std::move(completion);
  }
  void cancel() override { cancelled = true; }
  std::size_t samples() {
    std::lock_guard lock(mutex);
    return received;
  }

  std::mutex mutex;
  std::size_t received = 0;
  std::optional<double> finishTimeout;
  std::function<void(ServerReply)> reply;
  bool cancelled = false;
};

// Local servers whose answers the test gives by hand.
class ScriptedServers : public LocalServerAccess {
public:
  struct Transcription {
    ServerEndpoint endpoint;
    std::string wav;
    std::string language, prompt;
    double timeout;
    std::function<void(ServerReply)> reply;
  };
  struct Rewrite {
    std::string text;
    double timeout;
    std::function<void(ServerReply)> reply;
  };

  std::optional<ServerEndpoint> endpoint(const std::string &engineId) override {
    if (engineId == "server-transcription")
      return ServerEndpoint{engineId, 8020, "mlx-community/whisper-large-v3-turbo"};
    if (engineId == "server-rewrite")
      return ServerEndpoint{engineId, 8021, "mlx-community/Qwen3-1.7B-4bit"};
    return std::nullopt;
  }
  bool isRunning(const std::string &engineId, double) override {
    return running.contains(engineId);
  }
  void checkRunning(const std::string &engineId, double,
                    std::function<void(bool)> completion) override {
    completion(running.contains(engineId));
  }
  bool isServerInstalled() override { return installed; }
  void start(double, const std::string &model, std::function<void(bool)> completion) override {
    startedModels.push_back(model);
    starts.push_back(std::move(completion));
  }
  void transcribe(const ServerEndpoint &endpoint, std::string wav, const std::string &language,
                  const std::string &prompt, double timeout,
                  std::function<void(ServerReply)> completion) override {
    transcriptions.push_back(
        {endpoint, std::move(wav), language, prompt, timeout, std::move(completion)});
  }
  void rewrite(const std::string &text, const ServerEndpoint &, double timeout,
               std::function<void(ServerReply)> completion) override {
    rewrites.push_back({text, timeout, std::move(completion)});
  }
  std::shared_ptr<TranscriptionSession> openSession(const ServerEndpoint &,
                                                    const std::string &language,
                                                    const std::string &prompt) override {
    if (!offersSessions) return nullptr;
    sessionFields.emplace_back(language, prompt);
    return sessions.emplace_back(std::make_shared<ScriptedSession>());
  }

  std::set<std::string> running;
  bool installed = true;
  std::vector<std::string> startedModels;
  std::vector<std::function<void(bool)>> starts;
  std::vector<Transcription> transcriptions;
  std::vector<Rewrite> rewrites;
  bool offersSessions = false;
  std::vector<std::shared_ptr<ScriptedSession>> sessions;
  std::vector<std::pair<std::string, std::string>> sessionFields;
};

class RecordingFeedbackWindow : public FeedbackWindow {
public:
  void show(const std::optional<std::string> &dictated) override { shown.push_back(dictated); }
  std::vector<std::optional<std::string>> shown;
};

// Writes the raw samples it is given; a file under 100 samples counts as too short.
class RawFileRecording : public WavRecording {
public:
  explicit RawFileRecording(std::filesystem::path path) : path_(std::move(path)), out_(path_) {}
  void append(const AudioBuffer &buffer) override {
    std::lock_guard lock(mutex_);
    auto mono = buffer.channel(0);
    out_.write(reinterpret_cast<const char *>(mono.data()),
               static_cast<std::streamsize>(mono.size_bytes()));
    samples_ += mono.size();
    firstSamples_.push_back(mono.empty() ? 0 : mono[0]);
    if (session_) {
      std::vector<std::int16_t> pcm(mono.size());
      for (std::size_t i = 0; i < mono.size(); ++i)
        pcm[i] = static_cast<std::int16_t>(mono[i] * 32767);
      session_->append(pcm);
    }
  }
  void forwardTo(std::shared_ptr<TranscriptionSession> session) override {
    std::lock_guard lock(mutex_);
    session_ = std::move(session);
  }
  std::optional<std::filesystem::path> finish() override {
    std::lock_guard lock(mutex_);
    out_.close();
    if (samples_ < 100) {
      std::error_code ec;
      std::filesystem::remove(path_, ec);
      return std::nullopt;
    }
    return path_;
  }
  std::filesystem::path path() const override { return path_; }
  // The first sample of every buffer written, in order.
  std::vector<float> firstSamples() const {
    std::lock_guard lock(mutex_);
    return firstSamples_;
  }

private:
  std::filesystem::path path_;
  std::ofstream out_;
  mutable std::mutex mutex_;
  std::size_t samples_ = 0;
  std::vector<float> firstSamples_;
  std::shared_ptr<TranscriptionSession> session_;
};

inline constexpr float kSpeech = 0.1f;
inline constexpr float kQuiet = 0.001f;
inline constexpr int kRightOption = 61;
inline constexpr std::uint64_t kRightOptionDown = 0x80000 | 0x40;

class DictationRig {
public:
  using RecorderFactory = std::function<std::shared_ptr<WavRecording>(AudioFormat)>;
  // The recorder factory defaults to raw sample files whose order a test can read back.
  explicit DictationRig(RecorderFactory makeRecorder = nullptr) {
    screens.main = Rect{{0, 80}, {1440, 795}};
    screens.frames = {*screens.main};
    env.workspace.launch(editorPid, "com.example.editor", "Editor");
    env.accessibility.addFocusedField(editorPid, "body");
    env.workspace.bringToFront(editorPid);
    DictationNeighbours n;
    n.servers = &servers;
    n.feedback = &feedback;
    n.hudPanel = &panel;
    n.screens = &screens;
    n.makeRecorder = makeRecorder ? std::move(makeRecorder)
                                  : [this](AudioFormat) -> std::shared_ptr<WavRecording> {
      if (failRecorder) return nullptr;
      auto path = env.files.tempDir() / ("selvar-" + std::to_string(recorders.size()) + ".wav");
      auto recorder = std::make_shared<RawFileRecording>(path);
      recorders.push_back(recorder);
      return recorder;
    };
    controller = std::make_unique<DictationController>(std::move(n));
    controller->start();
    env.keys.onPost = [this] { pastes.push_back(env.pasteboard.string().value_or("")); };
  }
  ~DictationRig() {
    controller.reset();
    Diagnostics::flush();
  }

  void setMode(TriggerMode mode) {
    env.settings.setValue(PrefKey::triggerMode, std::string(rawValue(mode)));
  }
  // The right Option key pressed or released, then the main queue settles.
  void trigger(bool down) {
    env.keyboardTap.flagsChanged(kRightOption, down ? kRightOptionDown : 0);
    env.queue.runUntilIdle();
  }
  void press() {
    trigger(true);
    trigger(false);
  }
  bool escape() {
    bool swallowed = env.keyboardTap.keyDown(VirtualKey::escape);
    env.queue.runUntilIdle();
    return swallowed;
  }
  bool returnKey() {
    bool swallowed = env.keyboardTap.keyDown(VirtualKey::returnKey);
    env.queue.runUntilIdle();
    return swallowed;
  }
  // Buffers at the level into the running capture engine, then the main queue settles.
  void speak(int buffers, float level = kSpeech, std::size_t frames = 2048) {
    auto *engine = env.audio.runningEngine();
    ASSERT_NE(engine, nullptr) << "no running engine";
    for (int i = 0; i < buffers; ++i)
      engine->feed(makeToneBuffer(level, engine->tapFormat().sampleRate, frames));
    env.queue.runUntilIdle();
  }
  FakeRecognitionTask &task() { return *env.speech.lastTask(); }
  // Starts a recording with the trigger in toggle mode and speaks a little.
  void startSpeaking(int buffers = 5) {
    press();
    speak(buffers);
  }
  // Lets the pasting and the clipboard restore run.
  void settle(double seconds = 1.5) { env.queue.advance(seconds); }

  // What the clipboard held when the latest paste keystroke went out.
  std::optional<std::string> pasted() const {
    if (pastes.empty()) return std::nullopt;
    return pastes.back();
  }
  std::string pillState() { return controller->hud().model().state(); }
  std::optional<std::string> pillQuestion() { return controller->hud().model().question(); }
  bool pillVisible() const { return panel.isVisible(); }
  DictationController::State state() const { return controller->state(); }

  std::vector<std::string> diagnostics() {
    Diagnostics::flush();
    std::ifstream in(env.files.dataRoot() / "logs" / "diagnostics.jsonl");
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);)
      lines.push_back(line);
    return lines;
  }
  bool diagnosticsHave(const std::string &fragment) {
    for (const auto &line : diagnostics())
      if (line.find(fragment) != std::string::npos) return true;
    return false;
  }

  FakeEnvironment env;
  FakeHudPanel panel;
  FakeScreens screens;
  ScriptedServers servers;
  RecordingFeedbackWindow feedback;
  std::vector<std::shared_ptr<RawFileRecording>> recorders;
  std::vector<std::string> pastes;
  bool failRecorder = false;
  int editorPid = 501;
  std::unique_ptr<DictationController> controller;
};

} // namespace selvar::testing
