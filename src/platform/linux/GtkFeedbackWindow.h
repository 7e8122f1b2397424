#pragma once
// The feedback window in plain GTK 3, drawn from the core's feedback model: the kind, the
// message, an optional email, what to attach, the exact report behind a disclosure, and the
// send button with its status line. One window at a time; closing it drops the draft.

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
  void build();
  GtkWidget *kindRow();
  GtkWidget *messageEditor();
  GtkWidget *attachments();
  GtkWidget *buttonRow();
  // Brings the button, status and preview in line with the model.
  void update();
  void send();
  static gboolean onDelete(GtkWidget *, GdkEvent *, gpointer self);

  std::shared_ptr<FeedbackWindowModel> model_;
  std::function<void()> onClose_;
  GtkWidget *window_ = nullptr;
  GtkWidget *send_ = nullptr;
  GtkWidget *status_ = nullptr;
  GtkWidget *thanks_ = nullptr;
  GtkWidget *preview_ = nullptr;
  GtkWidget *expander_ = nullptr;
};

} // namespace selvar
