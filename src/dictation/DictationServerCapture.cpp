// The server path: the utterance is recorded to a 16 kHz WAV file and sent whole to the local
// transcription server when it ends. A server that offers sessions also gets the audio while
// the user speaks, so that little is left to transcribe at the end; the file is then only the
// fallback for a session that fails. A recording that ends without text is never thrown away:
// it is kept among the failed recordings for a retry.

#include "app/Prefs.h"
#include "dictation/CaptureFormat.h"
#include "dictation/DictationController.h"
#include "platform/FileLocations.h"
#include "platform/Services.h"
#include "records/Log.h"
#include "text/DictionaryStore.h"

#include <fstream>
#include <iterator>

namespace selvar {

namespace fs = std::filesystem;

namespace {

constexpr int kLastAttempt = 3;
constexpr double kRetryDelay = 0.4;
constexpr double kRequestTimeout = 60;

std::optional<std::string> readFile(const fs::path &path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (in.bad()) return std::nullopt;
  return bytes;
}

// Whisper-family servers take a bare language code ("en"), not a locale ("en-US").
std::string serverLanguage(const std::optional<std::string> &locale) {
  if (!locale) return {};
  return locale->substr(0, locale->find_first_of("-_"));
}

} // namespace

void DictationController::startServerCapture(int gen, const ServerEndpoint &endpoint, int attempt) {
  requestBox_.reset();
  auto engine = services().audio->makeEngine();
  auto format = prepareInput(*engine);
  logCaptureInput(*engine, attempt);
  if (!format) {
    if (attempt >= kLastAttempt) {
      abort(gen, "Microphone unavailable");
      return;
    }
    queue().asyncAfter(kRetryDelay, guarded([this, gen, endpoint, attempt] {
                         if (generation_ != gen || state() != State::idle || !wantsRecording_)
                           return;
                         startServerCapture(gen, endpoint, attempt + 1);
                       }));
    return;
  }
  auto recorder = neighbours_.makeRecorder(*format);
  if (!recorder) {
    abort(gen, "Could not open a recording");
    return;
  }
  engine_ = std::move(engine);
  recorder_ = std::move(recorder);
  session_ = neighbours_.servers->openSession(
      endpoint, serverLanguage(Prefs::recognitionLanguage()), DictionaryStore::biasPrompt());
  // Before the tap and the pre-roll, so the session hears the utterance from its start.
  if (session_) recorder_->forwardTo(session_);
  installTap(*engine_, *format);
  flushPreroll(*format);
  if (auto error = engine_->start()) {
    Log::write("server capture start failed: " + *error);
    engine_->removeTap();
    abort(gen, "Microphone unavailable");
    return;
  }
  enterListening(gen);
}

// Called by endRecording once the engine has stopped, so nothing writes to the file any more.
void DictationController::sendRecording(int gen) {
  auto recorder = std::exchange(recorder_, nullptr);
  auto wav = recorder ? recorder->finish() : std::nullopt;
  if (!wav || !serverEndpoint_) {
    commit("", gen, "error", std::nullopt);
    return;
  }
  inFlightWav_ = wav;
  if (session_) {
    // The session keeps this completion until it answers, so it must not own the session.
    session_->finish(kRequestTimeout,
                     [this, life = std::weak_ptr<int>(lifetime_), q = &queue(), gen, wav = *wav,
                      session = std::weak_ptr(session_)](ServerReply reply) {
                       q->async([this, life, gen, wav, session, reply = std::move(reply)] {
                         if (!life.expired()) sessionReplied(gen, wav, session, reply);
                       });
                     });
    return;
  }
  sendWholeRecording(gen, *wav);
}

void DictationController::sessionReplied(int gen, const fs::path &wav,
                                         const std::weak_ptr<TranscriptionSession> &session,
                                         ServerReply reply) {
  if (session_ && session.lock() == session_) session_.reset();
  std::error_code ec;
  // Only a failed session of the current utterance is worth a second request: an empty text
  // would come back empty, and a superseded utterance has nowhere to put its text.
  bool retry = reply.error && !reply.error->heardNothing && gen == generation_ &&
               inFlightWav_ == wav && fs::exists(wav, ec);
  if (!retry) return serverReplied(gen, wav, std::move(reply));
  Log::write("server session failed, sending the whole recording: " + reply.error->description);
  sendWholeRecording(gen, wav);
}

void DictationController::sendWholeRecording(int gen, const fs::path &path) {
  std::optional<fs::path> wav = path;
  auto bytes = readFile(path);
  if (!bytes) {
    serverReplied(gen, wav, {"", DictationError{0, "could not read the recording"}});
    return;
  }
  std::string prompt = DictionaryStore::biasPrompt();
  neighbours_.servers->transcribe(
      *serverEndpoint_, std::move(*bytes), serverLanguage(Prefs::recognitionLanguage()), prompt,
      kRequestTimeout,
      [this, life = std::weak_ptr<int>(lifetime_), q = &queue(), gen, wav](ServerReply reply) {
        q->async([this, life, gen, wav, reply = std::move(reply)] {
          if (!life.expired()) serverReplied(gen, wav, reply);
        });
      });
}

void DictationController::serverReplied(int gen, std::optional<fs::path> wav, ServerReply reply) {
  if (wav && inFlightWav_ == wav) inFlightWav_.reset();
  std::error_code ec;
  // The user discarded the utterance while it was on its way: its file is already gone.
  bool discarded = !wav || !fs::exists(*wav, ec);
  bool current = gen == generation_;
  if (reply.error) {
    Log::write("server transcription failed: " + reply.error->description);
    if (!discarded) keepFailedRecording(*wav);
    if (!current) return;
    commit("", gen, "error", reply.error);
    if (reply.error->isServerError) flash(reply.error->description);
    return;
  }
  if (!current) {
    // Superseded or aborted meanwhile: the text has nowhere to go, the audio is kept.
    if (!discarded) {
      Log::write("server transcription arrived after its utterance ended");
      keepFailedRecording(*wav);
    }
    return;
  }
  if (!discarded) fs::remove(*wav, ec);
  commit(reply.text, gen, "final", std::nullopt);
}

// An aborted server-path utterance takes its audio with it, and its session ends on the server
// so that no work goes on for text nobody will read.
void DictationController::discardRecorder() {
  std::error_code ec;
  if (auto session = std::exchange(session_, nullptr)) session->cancel();
  if (recorder_) {
    auto path = recorder_->path();
    recorder_->finish();
    fs::remove(path, ec);
    recorder_.reset();
  }
  if (inFlightWav_) fs::remove(*inFlightWav_, ec);
  inFlightWav_.reset();
}

} // namespace selvar
