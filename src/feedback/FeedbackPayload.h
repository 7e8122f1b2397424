#pragma once
// A feedback report: what the window edits (FeedbackDraft) and what is sent and kept in the
// outbox (FeedbackPayload, one JSON object).

#include "support/RawEnum.h"

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace selvar {

enum class FeedbackKind { bug, idea, praise };

template <> struct RawEnumTraits<FeedbackKind> {
  static constexpr std::array<std::pair<FeedbackKind, std::string_view>, 3> cases{
      {{FeedbackKind::bug, "bug"}, {FeedbackKind::idea, "idea"}, {FeedbackKind::praise, "praise"}}};
  static constexpr FeedbackKind fallback = FeedbackKind::bug;
};

struct FeedbackDraft {
  FeedbackKind kind = FeedbackKind::bug;
  std::string message;
  std::string email;
  bool includeLogs = false;
  bool includeTranscript = false;
  bool includeSystemInfo = false;
};

inline constexpr const char *kFeedbackSchema = "selvar.feedback/1";

struct FeedbackPayload {
  std::string schema = kFeedbackSchema;
  std::string id;
  std::string createdAt;
  std::optional<std::string> appVersion;
  std::optional<std::string> build;
  std::optional<std::string> osVersion;
  std::optional<std::string> architecture;
  std::string installID;
  std::string kind;
  std::string message;
  std::optional<std::string> email;
  std::optional<std::string> logs;
  std::optional<std::string> transcript;

  nlohmann::json toJson() const;
  // Pretty printed, keys sorted, "/" unescaped, absent optionals left out, no final newline.
  std::string encoded() const;
  // Nothing when the text is not such an object (a missing or mistyped required field).
  static std::optional<FeedbackPayload> decode(const std::string &text);
  friend bool operator==(const FeedbackPayload &, const FeedbackPayload &) = default;
};

} // namespace selvar
