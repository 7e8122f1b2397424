#pragma once
// The shell's view of the one dictation controller, and the controller's way to the feedback
// window, wired the same way by every platform's entry point.

#include "app/DictationControl.h"
#include "dictation/DictationController.h"
#include "dictation/DictationNeighbours.h"

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

private:
  DictationController controller_;
};

// Opens the feedback window through FeedbackWindowController, drawn by whichever presenter the
// platform installed.
class FeedbackWindowOpener : public FeedbackWindow {
public:
  void show(const std::optional<std::string> &dictated) override;
};

} // namespace selvar
