#pragma once
// The feedback window as data each platform draws: the draft being edited, the exact report
// the preview shows and the send button sends (same id and time), and the status after a send.

#include "feedback/FeedbackPayload.h"

#include <functional>
#include <memory>
#include <string>

namespace selvar {

class FeedbackWindowModel {
public:
  static constexpr const char *kTitle = "Send Feedback";
  static constexpr const char *kHeader = "FEEDBACK";
  static constexpr const char *kSymbol = "bubble.left.and.text.bubble.right";
  static constexpr const char *kSubtitle = "Goes to a queue an agent reads. Logs are optional.";
  static constexpr const char *kKindSection = "KIND";
  static constexpr const char *kMessageSection = "WHAT HAPPENED";
  static constexpr const char *kMessagePlaceholder = "Your feedback";
  static constexpr const char *kEmailPlaceholder = "Email (optional, only if you want a reply)";
  static constexpr const char *kTranscriptToggle = "Attach my most recent dictation text";
  static constexpr const char *kPreviewDisclosure = "SHOW EXACTLY WHAT GETS SENT";
  static constexpr const char *kThanks = "Thanks";
  // The size of the log tail a report carries.
  static constexpr std::size_t kLogTailBytes = 64000;

  // The message is empty (typed report) or the dictated text.
  explicit FeedbackWindowModel(std::string message = {});
  ~FeedbackWindowModel() { *alive_ = false; }
  FeedbackWindowModel(const FeedbackWindowModel &) = delete;
  FeedbackWindowModel &operator=(const FeedbackWindowModel &) = delete;

  static const char *kindLabel(FeedbackKind kind);
  std::string logsToggleLabel() const;
  // "Attach app version and macOS version", naming the system Selvar runs on.
  std::string systemInfoToggleLabel() const;
  std::string sendButtonTitle() const { return sending ? "Sending…" : "Send"; }

  bool canSend() const;
  // The report as it would be sent now, encoded exactly as it goes on the wire.
  FeedbackPayload payload() const;
  std::string previewText() const { return payload().encoded(); }
  // Sends the report; `changed` runs on the main queue when the status changes.
  void send(std::function<void()> changed = {});
  // After a delivered report the row shows the thanks and the same report is not sent twice.
  bool delivered() const { return delivered_; }

  const std::string message; // as the window opened
  FeedbackDraft draft;
  std::string status;
  bool sending = false;
  bool showPreview = false;
  const std::string stagedID;
  const std::string stagedAt;

private:
  bool delivered_ = false;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace selvar
