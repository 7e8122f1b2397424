#include "platform/linux/GtkFeedbackWindow.h"

#include "support/RawEnum.h"

namespace selvar {

namespace {

GtkWidget *label(const std::string &text, bool bold = false) {
  GtkWidget *l = gtk_label_new(nullptr);
  gchar *markup = g_markup_printf_escaped(bold ? "<b>%s</b>" : "%s", text.c_str());
  gtk_label_set_markup(GTK_LABEL(l), markup);
  g_free(markup);
  gtk_label_set_xalign(GTK_LABEL(l), 0);
  gtk_label_set_line_wrap(GTK_LABEL(l), TRUE);
  return l;
}

// A signal handler that owns its closure.
template <typename F> void connect(gpointer widget, const char *signal, F f, GCallback thunk) {
  g_signal_connect_data(
      widget, signal, thunk, new F(std::move(f)),
      [](gpointer data, GClosure *) { delete static_cast<F *>(data); }, GConnectFlags(0));
}

template <typename F> void onToggled(GtkWidget *button, F f) {
  connect(button, "toggled", std::move(f), G_CALLBACK(+[](GtkToggleButton *b, gpointer data) {
            (*static_cast<F *>(data))(gtk_toggle_button_get_active(b));
          }));
}

template <typename F> void onClicked(GtkWidget *button, F f) {
  connect(button, "clicked", std::move(f),
          G_CALLBACK(+[](GtkButton *, gpointer data) { (*static_cast<F *>(data))(); }));
}

template <typename F> void onChanged(gpointer editable, F f) {
  connect(editable, "changed", std::move(f),
          G_CALLBACK(+[](gpointer, gpointer data) { (*static_cast<F *>(data))(); }));
}

std::string bufferText(GtkTextBuffer *buffer) {
  GtkTextIter start, end;
  gtk_text_buffer_get_bounds(buffer, &start, &end);
  gchar *text = gtk_text_buffer_get_text(buffer, &start, &end, FALSE);
  std::string out = text ? text : "";
  g_free(text);
  return out;
}

} // namespace

GtkFeedbackWindow::~GtkFeedbackWindow() {
  if (window_) gtk_widget_destroy(window_);
}

void GtkFeedbackWindow::present(std::shared_ptr<FeedbackWindowModel> model,
                                std::function<void()> onClose) {
  close(); // a new report replaces the open one
  model_ = std::move(model);
  onClose_ = std::move(onClose);
  build();
  update();
  gtk_widget_show_all(window_);
  gtk_widget_set_visible(thanks_, model_->delivered());
  gtk_window_present(GTK_WINDOW(window_));
}

void GtkFeedbackWindow::close() {
  if (!window_) return;
  gtk_widget_destroy(window_);
  window_ = nullptr;
  if (auto done = std::move(onClose_)) done();
  model_.reset();
}

gboolean GtkFeedbackWindow::onDelete(GtkWidget *, GdkEvent *, gpointer self) {
  // Destroying here would pull the window out from under GTK's own handler; do it next turn.
  g_idle_add(
      [](gpointer self) -> gboolean {
        static_cast<GtkFeedbackWindow *>(self)->close();
        return G_SOURCE_REMOVE;
      },
      self);
  return TRUE;
}

void GtkFeedbackWindow::build() {
  window_ = gtk_window_new(GTK_WINDOW_TOPLEVEL);
  gtk_window_set_title(GTK_WINDOW(window_), FeedbackWindowModel::kTitle);
  gtk_window_set_default_size(GTK_WINDOW(window_), 520, 560);
  gtk_window_set_position(GTK_WINDOW(window_), GTK_WIN_POS_CENTER);
  g_signal_connect(window_, "delete-event", G_CALLBACK(onDelete), this);
  GtkWidget *box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 8);
  gtk_container_set_border_width(GTK_CONTAINER(box), 14);
  gtk_box_pack_start(GTK_BOX(box), label(FeedbackWindowModel::kHeader, true), FALSE, FALSE, 0);
  gtk_box_pack_start(GTK_BOX(box), label(FeedbackWindowModel::kSubtitle), FALSE, FALSE, 0);
  gtk_box_pack_start(GTK_BOX(box), label(FeedbackWindowModel::kKindSection, true), FALSE, FALSE, 4);
  gtk_box_pack_start(GTK_BOX(box), kindRow(), FALSE, FALSE, 0);
  gtk_box_pack_start(GTK_BOX(box), label(FeedbackWindowModel::kMessageSection, true), FALSE, FALSE,
                     4);
  gtk_box_pack_start(GTK_BOX(box), messageEditor(), TRUE, TRUE, 0);
  gtk_box_pack_start(GTK_BOX(box), attachments(), FALSE, FALSE, 0);
  gtk_box_pack_start(GTK_BOX(box), buttonRow(), FALSE, FALSE, 4);
  status_ = label("");
  gtk_box_pack_start(GTK_BOX(box), status_, FALSE, FALSE, 0);
  gtk_container_add(GTK_CONTAINER(window_), box);
}

GtkWidget *GtkFeedbackWindow::kindRow() {
  GtkWidget *row = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 12);
  GSList *group = nullptr;
  for (FeedbackKind kind : allCases<FeedbackKind>()) {
    GtkWidget *radio = gtk_radio_button_new_with_label(group, FeedbackWindowModel::kindLabel(kind));
    group = gtk_radio_button_get_group(GTK_RADIO_BUTTON(radio));
    gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(radio), model_->draft.kind == kind);
    onToggled(radio, [this, kind](bool on) {
      if (!on) return;
      model_->draft.kind = kind;
      update();
    });
    gtk_box_pack_start(GTK_BOX(row), radio, FALSE, FALSE, 0);
  }
  return row;
}

GtkWidget *GtkFeedbackWindow::messageEditor() {
  GtkWidget *box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 6);
  GtkWidget *scroller = gtk_scrolled_window_new(nullptr, nullptr);
  gtk_scrolled_window_set_min_content_height(GTK_SCROLLED_WINDOW(scroller), 120);
  GtkWidget *text = gtk_text_view_new();
  gtk_text_view_set_wrap_mode(GTK_TEXT_VIEW(text), GTK_WRAP_WORD_CHAR);
  gtk_widget_set_tooltip_text(text, FeedbackWindowModel::kMessagePlaceholder);
  GtkTextBuffer *buffer = gtk_text_view_get_buffer(GTK_TEXT_VIEW(text));
  gtk_text_buffer_set_text(buffer, model_->draft.message.c_str(), -1);
  onChanged(buffer, [this, buffer] {
    model_->draft.message = bufferText(buffer);
    update();
  });
  gtk_container_add(GTK_CONTAINER(scroller), text);
  gtk_box_pack_start(GTK_BOX(box), scroller, TRUE, TRUE, 0);
  GtkWidget *email = gtk_entry_new();
  gtk_entry_set_placeholder_text(GTK_ENTRY(email), FeedbackWindowModel::kEmailPlaceholder);
  gtk_entry_set_text(GTK_ENTRY(email), model_->draft.email.c_str());
  onChanged(email, [this, email] {
    model_->draft.email = gtk_entry_get_text(GTK_ENTRY(email));
    update();
  });
  gtk_box_pack_start(GTK_BOX(box), email, FALSE, FALSE, 0);
  return box;
}

GtkWidget *GtkFeedbackWindow::attachments() {
  GtkWidget *box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 4);
  struct Toggle {
    std::string text;
    bool FeedbackDraft::*field;
  } toggles[] = {
      {model_->logsToggleLabel(), &FeedbackDraft::includeLogs},
      {FeedbackWindowModel::kTranscriptToggle, &FeedbackDraft::includeTranscript},
      {model_->systemInfoToggleLabel(), &FeedbackDraft::includeSystemInfo},
  };
  for (const auto &t : toggles) {
    GtkWidget *check = gtk_check_button_new_with_label(t.text.c_str());
    gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(check), model_->draft.*t.field);
    onToggled(check, [this, field = t.field](bool on) {
      model_->draft.*field = on;
      update();
    });
    gtk_box_pack_start(GTK_BOX(box), check, FALSE, FALSE, 0);
  }
  expander_ = gtk_expander_new(FeedbackWindowModel::kPreviewDisclosure);
  GtkWidget *scroller = gtk_scrolled_window_new(nullptr, nullptr);
  gtk_scrolled_window_set_min_content_height(GTK_SCROLLED_WINDOW(scroller), 160);
  preview_ = gtk_text_view_new();
  gtk_text_view_set_editable(GTK_TEXT_VIEW(preview_), FALSE);
  gtk_text_view_set_monospace(GTK_TEXT_VIEW(preview_), TRUE);
  gtk_container_add(GTK_CONTAINER(scroller), preview_);
  gtk_container_add(GTK_CONTAINER(expander_), scroller);
  std::function<void()> expanded = [this] {
    model_->showPreview = gtk_expander_get_expanded(GTK_EXPANDER(expander_));
    update();
  };
  connect(expander_, "notify::expanded", std::move(expanded),
          G_CALLBACK(+[](GObject *, GParamSpec *, gpointer data) {
            (*static_cast<std::function<void()> *>(data))();
          }));
  gtk_box_pack_start(GTK_BOX(box), expander_, FALSE, FALSE, 4);
  return box;
}

GtkWidget *GtkFeedbackWindow::buttonRow() {
  GtkWidget *row = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 8);
  thanks_ = label(FeedbackWindowModel::kThanks, true);
  GtkWidget *cancel = gtk_button_new_with_label("Cancel");
  send_ = gtk_button_new_with_label("Send");
  onClicked(cancel, [this] { close(); });
  onClicked(send_, [this] { send(); });
  gtk_box_pack_start(GTK_BOX(row), thanks_, FALSE, FALSE, 0);
  gtk_box_pack_end(GTK_BOX(row), send_, FALSE, FALSE, 0);
  gtk_box_pack_end(GTK_BOX(row), cancel, FALSE, FALSE, 0);
  return row;
}

void GtkFeedbackWindow::update() {
  if (!model_ || !window_) return;
  gtk_button_set_label(GTK_BUTTON(send_), model_->sendButtonTitle().c_str());
  gtk_widget_set_sensitive(send_, model_->canSend());
  gtk_label_set_text(GTK_LABEL(status_), model_->status.c_str());
  gtk_widget_set_visible(thanks_, model_->delivered());
  // The preview is built only while it shows: it reads the log tail.
  if (model_->showPreview) {
    std::string text = model_->previewText();
    gtk_text_buffer_set_text(gtk_text_view_get_buffer(GTK_TEXT_VIEW(preview_)), text.c_str(), -1);
  }
}

void GtkFeedbackWindow::send() {
  std::weak_ptr<FeedbackWindowModel> sending = model_;
  model_->send([this, sending] {
    if (sending.lock() == model_) update();
  });
  update();
}

} // namespace selvar
