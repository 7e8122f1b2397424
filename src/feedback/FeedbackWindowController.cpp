#include "feedback/FeedbackWindowController.h"

#include "records/Log.h"

namespace selvar::FeedbackWindowController {

namespace {
struct Window {
  FeedbackWindowPresenter *presenter = nullptr;
  std::shared_ptr<FeedbackWindowModel> model;
};

Window &window() {
  static Window w;
  return w;
}
} // namespace

void installPresenter(FeedbackWindowPresenter *presenter) {
  window() = {presenter, nullptr};
}

void show(std::optional<std::string> dictated) {
  Window &w = window();
  std::string text = dictated.value_or("");
  w.model = std::make_shared<FeedbackWindowModel>(text);
  Log::write(text.empty() ? "feedback window opened" : "feedback window opened (dictated)");
  if (!w.presenter) return;
  std::weak_ptr<FeedbackWindowModel> shown = w.model;
  w.presenter->present(w.model, [shown] {
    Window &current = window();
    if (current.model == shown.lock()) current.model.reset();
  });
}

std::shared_ptr<FeedbackWindowModel> current() {
  return window().model;
}

} // namespace selvar::FeedbackWindowController
