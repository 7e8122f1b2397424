#pragma once
// The shell's view of the one dictation controller, shared by every platform's entry point.

#include "app/DictationControl.h"
#include "dictation/DictationController.h"
#include "hotkeys/HotkeyHandler.h"

namespace selvar {

class ControllerControl : public DictationControl {
public:
  explicit ControllerControl(DictationNeighbours neighbours) : controller_(std::move(neighbours)) {}
  void start() override { controller_.start(); }
  void runTestUtterance(double seconds) override { controller_.runTestUtterance(seconds); }
  bool isListening() const override {
    return controller_.state() == DictationController::State::listening;
  }
  void pasteLast() override { controller_.pasteLast(); }
  void flash(const std::string &message) override { controller_.flash(message); }
  void control(ControlCommand command) override { controller_.hotkeys().commandReceived(command); }
  // Recordings kept by an earlier run count too, so "--retry-failed" finds them.
  bool hasFailedRecording() const override;
  void retryFailedRecording(RetryDone done) override;

  DictationController &controller() { return controller_; }

private:
  DictationController controller_;
};

} // namespace selvar
