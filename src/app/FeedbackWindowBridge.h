#pragma once
// The controller's way to the feedback window (a dictated report): the shell's one window.

#include "dictation/DictationNeighbours.h"
#include "feedback/FeedbackWindowController.h"

namespace selvar {

class FeedbackWindowBridge : public FeedbackWindow {
public:
  void show(const std::optional<std::string> &dictated) override {
    FeedbackWindowController::show(dictated);
  }
};

} // namespace selvar
