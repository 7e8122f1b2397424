#include "app/ControllerControl.h"

#include "feedback/FeedbackWindowController.h"

namespace selvar {

void FeedbackWindowOpener::show(const std::optional<std::string> &dictated) {
  FeedbackWindowController::show(dictated);
}

} // namespace selvar
