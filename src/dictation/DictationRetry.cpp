// Second chances for server-path recordings that ended without text.

#include "app/Prefs.h"
#include "dictation/DictationController.h"
#include "dictation/FailedRecordings.h"
#include "platform/Services.h"
#include "records/History.h"
#include "records/Log.h"
#include "support/Unicode.h"
#include "text/DictionaryStore.h"

#include <fstream>
#include <iterator>

namespace selvar {

namespace fs = std::filesystem;

namespace {

constexpr const char *kTranscriptionEngine = "server-transcription";
constexpr double kRequestTimeout = 60;
// 16 kHz mono 16-bit PCM after a 44-byte header.
constexpr double kBytesPerSecond = 32000;

double recordedSeconds(const fs::path &wav) {
  std::error_code ec;
  auto size = fs::file_size(wav, ec);
  return ec || size < 44 ? 0 : static_cast<double>(size - 44) / kBytesPerSecond;
}

} // namespace

void DictationController::keepFailedRecording(const fs::path &wav) {
  if (auto kept = FailedRecordings::keep(wav)) lastFailedRecording_ = kept;
}

void DictationController::retryFailedRecording(const fs::path &wav, RetryDone done) {
  if (!done) done = [](bool, const std::string &) {};
  std::ifstream in(wav, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  auto endpoint = neighbours_.servers->endpoint(Prefs::dictationEngine());
  if (!endpoint) endpoint = neighbours_.servers->endpoint(kTranscriptionEngine);
  if (!in.good() && !in.eof()) bytes.clear();
  if (bytes.empty() || !endpoint) {
    std::string reason = bytes.empty() ? "the recording cannot be read" : "no transcription server";
    Log::write("retry of " + wav.string() + " failed: " + reason);
    flash("Could not open a recording");
    done(false, reason);
    return;
  }
  Log::write("retrying the failed recording " + wav.string());
  neighbours_.servers->transcribe(
      *endpoint, std::move(bytes), "", DictionaryStore::biasPrompt(), kRequestTimeout,
      [this, life = std::weak_ptr<int>(lifetime_), q = &queue(), wav, done](ServerReply reply) {
        q->async([this, life, wav, done, reply = std::move(reply)] {
          if (life.expired()) return;
          if (reply.error) {
            Log::write("retry of " + wav.string() + " failed: " + reply.error->description);
            flash(reply.error->isServerError
                      ? reply.error->description
                      : "Dictation failed \u2014 " + shortReason(reply.error));
            done(false, reply.error->description);
            return;
          }
          auto text = cleanUp(trimWhitespace(reply.text));
          if (text.empty()) {
            done(false, "the recording held no text");
            return;
          }
          History::append(text, recordedSeconds(wav), 0);
          std::error_code ec;
          fs::remove(wav, ec);
          if (lastFailedRecording_ == wav) lastFailedRecording_.reset();
          Log::write("retried recording delivered " + std::to_string(graphemeCount(text)) +
                     " chars");
          insert(text, services().workspace->frontmostApplication(), std::nullopt);
          done(true, text);
        });
      });
}

} // namespace selvar
