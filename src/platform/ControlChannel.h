#pragma once
// The line from a later, short-lived copy of the program ("selvar --toggle") to the copy that
// holds the single-instance claim. One word travels per connection; the running copy answers
// whether it understood it.

#include <functional>
#include <string>

namespace selvar {

enum class ControlDelivery { delivered, notUnderstood, noRunningCopy, failed };

struct ControlSendResult {
  ControlDelivery outcome = ControlDelivery::failed;
  std::string detail; // why, for failed
};

class ControlChannel {
public:
  // Called on the main thread with each word received; returns whether it was understood.
  using Receiver = std::function<bool(const std::string &word)>;
  virtual ~ControlChannel() = default;
  // Starts taking words (only the copy holding the claim does); false, logged, when the
  // channel cannot be opened.
  virtual bool listen(Receiver receiver) = 0;
  // Sends one word to the running copy and waits a short while for its answer.
  virtual ControlSendResult send(const std::string &word) = 0;
};

} // namespace selvar
