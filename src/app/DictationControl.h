#pragma once
// What the application shell needs of the dictation controller: starting it at launch, the
// test utterance, paste-last and a short message in the pill.

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
};

} // namespace selvar
