#pragma once
// The feedback window in plain GTK 3, drawn from the core's feedback model: kind, message,
// email, the three attachments, the exact report behind a disclosure, and Send with its status.
// Every edit goes into the model's draft and the dependent parts (preview, Send) follow it.

#include "feedback/FeedbackWindowController.h"

#include <gtk/gtk.h>

namespace selvar {

class GtkFeedbackWindow : public FeedbackWindowPresenter {
public:
  GtkFeedbackWindow() = default;
  ~GtkFeedbackWindow() override;
  GtkFeedbackWindow(const GtkFeedbackWindow &) = delete;
  GtkFeedbackWindow &operator=(const GtkFeedbackWindow &) = delete;

  void present(std::shared_ptr<FeedbackWindowModel> model, std::function<void()> onClose) override;
  void close() override;

private:
  GtkWidget *build();
  GtkWidget *header();
  GtkWidget *emailField();
  GtkWidget *previewDisclosure();
  GtkWidget *kindChoice();
  GtkWidget *messageEditor();
  GtkWidget *toggles();
  GtkWidget *buttons();
  void refresh();
  void send();
  static void onDestroy(GtkWidget *, gpointer self);

  std::shared_ptr<FeedbackWindowModel> model_;
  std::function<void()> onClose_;
  GtkWidget *window_ = nullptr;
  GtkWidget *preview_ = nullptr;
  GtkWidget *send_ = nullptr;
  GtkWidget *status_ = nullptr;
};

} // namespace selvar
