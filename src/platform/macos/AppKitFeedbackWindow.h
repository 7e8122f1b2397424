#pragma once
// The feedback window in AppKit, drawn from the core's feedback window model: kind, message,
// email, the three attachments, the exact preview, and sending.

#include "feedback/FeedbackWindowController.h"

@class SLVFeedbackWindow;

namespace selvar {

class AppKitFeedbackWindow : public FeedbackWindowPresenter {
public:
  void present(std::shared_ptr<FeedbackWindowModel> model, std::function<void()> onClose) override;
  void close() override;

private:
  SLVFeedbackWindow *window_ = nil;
};

} // namespace selvar
