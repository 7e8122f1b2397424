#pragma once
// Posts one recorded utterance (a WAV file's bytes) to the local transcription server as
// multipart form data and hands back the transcript.

#include "servers/LocalServer.h"
#include "servers/ServerError.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace selvar::TranscriptionClient {

inline constexpr const char *kTranscriptionPath = "/v1/audio/transcriptions";
inline constexpr double kDictationTimeout = 60;

struct Attempt {
  std::string path;
  bool sendModel = true;
};

struct Job {
  std::shared_ptr<const std::string> audio; // a complete WAV file
  LocalServer::Endpoint endpoint;
  std::string language; // empty: let the server detect it
  std::string prompt;   // empty: no bias prompt
  double timeoutSeconds = kDictationTimeout;
};

// A trimmed, non-empty transcript, or why there is none. May run on any thread.
using Completion = std::function<void(ServerResult<std::string>)>;

// Runs the attempts in order until one succeeds; the completion runs exactly once, with the
// last attempt's failure when all fail.
void tryNext(Job job, std::vector<Attempt> attempts, Completion completion);
// One HTTP exchange.
void attemptTranscribe(const Job &job, const Attempt &attempt, Completion completion);

// The request body: "model" (only with sendModel and a model), "language" and "prompt" (only
// when not empty), "response_format" "json", then the file part and the closing line.
std::string multipartBody(const std::string &boundary, const Job &job, bool sendModel);
// "selvar-" and a fresh upper-case UUID.
std::string makeBoundary();
// The transcript in a 2xx reply body: JSON "text", or the whole body as text; trimmed.
ServerResult<std::string> parseReply(const std::string &body, int status);

} // namespace selvar::TranscriptionClient
