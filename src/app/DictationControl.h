#pragma once
// What the application shell needs of the dictation controller: starting it at launch, the
// test utterance, paste-last and a short message in the pill.

#include "hotkeys/ControlCommand.h"

#include <functional>
#include <string>

namespace selvar {

class DictationControl {
public:
  virtual ~DictationControl() = default;
  virtual void start() = 0;
  virtual void runTestUtterance(double seconds) = 0;
  // A recording is open (the controller is listening).
  virtual bool isListening() const = 0;
  virtual void pasteLast() = 0;
  virtual void flash(const std::string &message) = 0;
  // A key press sent by another program ("selvar --toggle"), acted on like the key itself.
  virtual void control(ControlCommand command) = 0;
  // A server recording that ended without text is kept and can be sent again.
  virtual bool hasFailedRecording() const = 0;
  // Sends the newest kept recording again and delivers its text like a new dictation; a
  // failure shows in the pill and keeps the file. `done` gets the text, or why there is none.
  using RetryDone = std::function<void(bool delivered, const std::string &textOrReason)>;
  virtual void retryFailedRecording(RetryDone done) = 0;
};

} // namespace selvar
