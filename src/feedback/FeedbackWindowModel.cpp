#include "feedback/FeedbackWindowModel.h"

#include "feedback/FeedbackSubmitter.h"
#include "platform/PlatformCapabilities.h"
#include "records/History.h"
#include "records/Log.h"
#include "support/Time.h"
#include "support/Unicode.h"
#include "support/Uuid.h"

namespace selvar {

FeedbackWindowModel::FeedbackWindowModel(std::string initial)
    : message(std::move(initial)), stagedID(makeUuidString()), stagedAt(formatIso8601(wallNow())) {
  draft.message = message;
  // Reports usually describe a problem, and the log is what makes one fixable; the last
  // dictation may be private, so it is attached only when asked.
  draft.kind = FeedbackKind::bug;
  draft.includeLogs = true;
  draft.includeTranscript = false;
  draft.includeSystemInfo = true;
}

const char *FeedbackWindowModel::kindLabel(FeedbackKind kind) {
  switch (kind) {
  case FeedbackKind::bug:
    return "Something broke";
  case FeedbackKind::idea:
    return "Idea";
  case FeedbackKind::praise:
    return "Worked well";
  }
  return "";
}

std::string FeedbackWindowModel::logsToggleLabel() const {
  return "Attach the last " + std::to_string(kLogTailBytes / 1000) + " KB of diagnostics";
}

std::string FeedbackWindowModel::systemInfoToggleLabel() const {
  return "Attach app version and " + platformCapabilities().systemName + " version";
}

bool FeedbackWindowModel::canSend() const {
  return !sending && !delivered_ && !trimWhitespace(draft.message).empty();
}

FeedbackPayload FeedbackWindowModel::payload() const {
  return FeedbackSubmitter::payload(draft, stagedID, stagedAt, History::mostRecentText);
}

void FeedbackWindowModel::send(std::function<void()> changed) {
  if (!canSend()) return;
  FeedbackPayload report = payload();
  Log::write(std::string("feedback submitted kind=") + report.kind +
             " logs=" + (draft.includeLogs ? "true" : "false") +
             " transcript=" + (draft.includeTranscript ? "true" : "false"));
  sending = true;
  std::weak_ptr<bool> alive = alive_;
  FeedbackSubmitter::submit(report, [this, alive, changed](FeedbackSubmitter::SendResult r) {
    if (alive.expired()) return; // the window closed; a failed report is in the outbox
    sending = false;
    if (r.ok()) {
      delivered_ = true;
      status = "Thanks — sent.";
    } else {
      status = FeedbackSubmitter::describe(r.error()) + " Saved locally and it will retry.";
    }
    if (changed) changed();
  });
}

} // namespace selvar
