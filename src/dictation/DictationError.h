#pragma once
// Why an utterance ended without text: the recognizer's or the network's error code and
// description, or a local server's own complaint (whose description the pill shows as is).

#include <optional>
#include <string>

namespace selvar {

struct DictationError {
  long code = 0;
  std::string description;
  // The local server answered, but not with text (its description is written for users).
  bool isServerError = false;
  // The server answered with no words: asking it again with the same audio is pointless.
  bool heardNothing = false;
};

// The few words after "Dictation failed — ".
std::string shortReason(const std::optional<DictationError> &error);

} // namespace selvar
