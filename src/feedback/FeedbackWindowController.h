#pragma once
// Opens the feedback window: one at a time, empty from the menu or filled with dictated text.
// The platform's presenter draws the model; closing the window discards the draft.

#include "feedback/FeedbackWindowModel.h"

#include <memory>
#include <optional>
#include <string>

namespace selvar {

class FeedbackWindowPresenter {
public:
  virtual ~FeedbackWindowPresenter() = default;
  // Shows the window for the model (titled FeedbackWindowModel::kTitle), replacing any open
  // one, and calls onClose when the user closes it.
  virtual void present(std::shared_ptr<FeedbackWindowModel> model,
                       std::function<void()> onClose) = 0;
  virtual void close() = 0;
};

namespace FeedbackWindowController {

void installPresenter(FeedbackWindowPresenter *presenter);
// Opens a new window (new report id and time); a dictated text arrives pre-filled.
void show(std::optional<std::string> dictated = std::nullopt);
// The open window's model, while there is one.
std::shared_ptr<FeedbackWindowModel> current();

} // namespace FeedbackWindowController

} // namespace selvar
