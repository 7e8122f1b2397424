#pragma once
// Turns a draft into a report and delivers it: the primary feedback endpoint, once the
// fallback host when the primary cannot be reached, and an outbox for what could not be
// delivered, re-sent at the next launch.

#include "feedback/FeedbackPayload.h"
#include "platform/SystemInfoSource.h"
#include "servers/HttpClient.h"
#include "support/Result.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <variant>

namespace selvar::FeedbackSubmitter {

// The server answered outside 200–299 (−1: no HTTP status at all).
struct FeedbackError {
  int status = -1;
  static FeedbackError rejected(int status) { return {status}; }
  std::string description() const;
  friend bool operator==(const FeedbackError &, const FeedbackError &) = default;
};

using Failure = std::variant<FeedbackError, TransportError>;
using SendResult = Result<std::string, Failure>; // the report id on success
using Completion = std::function<void(SendResult)>;
std::string describe(const Failure &failure);

struct Endpoints {
  std::string primary;
  std::string fallback;
  double timeoutSeconds = 20;
};
// The "feedbackEndpoint" preference when it holds an http(s) URL, else the built-in primary;
// the built-in fallback.
Endpoints endpoints();
std::string endpoint();
// The outbox folder (created when missing).
std::filesystem::path outbox();
// The "installID" preference, generated and stored on first use.
std::string installID();

// The most recent dictation's text, when there is one.
using TranscriptSource = std::function<std::optional<std::string>()>;
SystemInfo currentSystemInfo();

FeedbackPayload payload(const FeedbackDraft &draft, const std::string &id,
                        const std::string &createdAt,
                        const TranscriptSource &mostRecentTranscript = {});

// Posts the report; a transport failure at the primary is retried once at the fallback, an
// HTTP rejection is not. The completion runs on the main queue.
void send(const FeedbackPayload &payload, Completion completion);
void send(const FeedbackPayload &payload, const Endpoints &to, Completion completion);
// send, and on failure the report is first saved in the outbox.
void submit(const FeedbackPayload &payload, Completion completion);
void submit(const FeedbackPayload &payload, const Endpoints &to, Completion completion);
// Re-sends every report in the outbox, concurrently; a delivered report's file is deleted.
// `done` (optional) runs on the main queue after the last answer with the counts.
using FlushDone = std::function<void(std::size_t delivered, std::size_t kept)>;
void flushOutbox(FlushDone done = {});
void flushOutbox(const Endpoints &to, FlushDone done = {});

// Writes the report to its outbox file atomically (a crash leaves the old file or the new).
bool saveToOutbox(const FeedbackPayload &payload);
std::filesystem::path outboxFile(const std::string &reportID);

} // namespace selvar::FeedbackSubmitter
