#include "platform/linux/GtkFeedbackWindow.h"

namespace selvar {

namespace {

GtkWidget *sectionTitle(const char *text) {
  GtkWidget *label = gtk_label_new(nullptr);
  gchar *markup = g_markup_printf_escaped("<small><b>%s</b></small>", text);
  gtk_label_set_markup(GTK_LABEL(label), markup);
  g_free(markup);
  gtk_label_set_xalign(GTK_LABEL(label), 0);
  return label;
}

// Connects a closure that lives as long as the connection.
template <typename Instance, typename F> void on(Instance *instance, const char *signal, F f) {
  g_signal_connect_data(
      instance, signal,
      G_CALLBACK(+[](gpointer sender, gpointer data) { (*static_cast<F *>(data))(sender); }),
      new F(std::move(f)), [](gpointer data, GClosure *) { delete static_cast<F *>(data); },
      GConnectFlags(0));
}

} // namespace

GtkFeedbackWindow::~GtkFeedbackWindow() {
  close();
}

void GtkFeedbackWindow::present(std::shared_ptr<FeedbackWindowModel> model,
                                std::function<void()> onClose) {
  close();
  model_ = std::move(model);
  onClose_ = std::move(onClose);
  window_ = build();
  g_signal_connect(window_, "destroy", G_CALLBACK(onDestroy), this);
  refresh();
  gtk_widget_show_all(window_);
  gtk_window_present(GTK_WINDOW(window_));
}

void GtkFeedbackWindow::close() {
  if (window_) gtk_widget_destroy(window_); // onDestroy clears the rest
}

void GtkFeedbackWindow::onDestroy(GtkWidget *, gpointer self) {
  auto *w = static_cast<GtkFeedbackWindow *>(self);
  w->window_ = w->preview_ = w->send_ = w->status_ = nullptr;
  w->model_.reset();
  if (auto onClose = std::exchange(w->onClose_, nullptr)) onClose();
}

GtkWidget *GtkFeedbackWindow::build() {
  GtkWidget *window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
  gtk_window_set_title(GTK_WINDOW(window), FeedbackWindowModel::kTitle);
  gtk_window_set_default_size(GTK_WINDOW(window), 520, 560);
  gtk_window_set_position(GTK_WINDOW(window), GTK_WIN_POS_CENTER);
  GtkWidget *box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 8);
  gtk_container_set_border_width(GTK_CONTAINER(box), 16);
  gtk_box_pack_start(GTK_BOX(box), header(), FALSE, FALSE, 0);
  gtk_box_pack_start(GTK_BOX(box), sectionTitle(FeedbackWindowModel::kKindSection), FALSE, FALSE,
                     4);
  gtk_box_pack_start(GTK_BOX(box), kindChoice(), FALSE, FALSE, 0);
  gtk_box_pack_start(GTK_BOX(box), sectionTitle(FeedbackWindowModel::kMessageSection), FALSE, FALSE,
                     4);
  gtk_box_pack_start(GTK_BOX(box), messageEditor(), TRUE, TRUE, 0);
  gtk_box_pack_start(GTK_BOX(box), emailField(), FALSE, FALSE, 0);
  gtk_box_pack_start(GTK_BOX(box), toggles(), FALSE, FALSE, 0);
  gtk_box_pack_start(GTK_BOX(box), previewDisclosure(), FALSE, FALSE, 0);
  gtk_box_pack_start(GTK_BOX(box), buttons(), FALSE, FALSE, 4);
  status_ = gtk_label_new("");
  gtk_label_set_xalign(GTK_LABEL(status_), 0);
  gtk_label_set_line_wrap(GTK_LABEL(status_), TRUE);
  gtk_box_pack_start(GTK_BOX(box), status_, FALSE, FALSE, 0);
  GtkWidget *scroller = gtk_scrolled_window_new(nullptr, nullptr);
  gtk_container_add(GTK_CONTAINER(scroller), box);
  gtk_container_add(GTK_CONTAINER(window), scroller);
  return window;
}

GtkWidget *GtkFeedbackWindow::header() {
  GtkWidget *box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 2);
  gtk_box_pack_start(GTK_BOX(box), sectionTitle(FeedbackWindowModel::kHeader), FALSE, FALSE, 0);
  GtkWidget *subtitle = gtk_label_new(FeedbackWindowModel::kSubtitle);
  gtk_label_set_xalign(GTK_LABEL(subtitle), 0);
  gtk_style_context_add_class(gtk_widget_get_style_context(subtitle), "dim-label");
  gtk_box_pack_start(GTK_BOX(box), subtitle, FALSE, FALSE, 0);
  return box;
}

GtkWidget *GtkFeedbackWindow::emailField() {
  GtkWidget *email = gtk_entry_new();
  gtk_entry_set_placeholder_text(GTK_ENTRY(email), FeedbackWindowModel::kEmailPlaceholder);
  on(email, "changed", [this](gpointer e) {
    model_->draft.email = gtk_entry_get_text(GTK_ENTRY(e));
    refresh();
  });
  return email;
}

// The exact report, kept current with every edit whether or not it is open.
GtkWidget *GtkFeedbackWindow::previewDisclosure() {
  GtkWidget *expander = gtk_expander_new(FeedbackWindowModel::kPreviewDisclosure);
  preview_ = gtk_text_view_new();
  gtk_text_view_set_editable(GTK_TEXT_VIEW(preview_), FALSE);
  gtk_text_view_set_monospace(GTK_TEXT_VIEW(preview_), TRUE);
  gtk_text_view_set_wrap_mode(GTK_TEXT_VIEW(preview_), GTK_WRAP_CHAR);
  gtk_container_add(GTK_CONTAINER(expander), preview_);
  on(expander, "activate", [this](gpointer) { model_->showPreview = !model_->showPreview; });
  return expander;
}

GtkWidget *GtkFeedbackWindow::kindChoice() {
  GtkWidget *combo = gtk_combo_box_text_new();
  for (FeedbackKind kind : {FeedbackKind::bug, FeedbackKind::idea, FeedbackKind::praise})
    gtk_combo_box_text_append(GTK_COMBO_BOX_TEXT(combo), std::string(rawValue(kind)).c_str(),
                              FeedbackWindowModel::kindLabel(kind));
  gtk_combo_box_set_active_id(GTK_COMBO_BOX(combo),
                              std::string(rawValue(model_->draft.kind)).c_str());
  on(combo, "changed", [this](gpointer c) {
    if (const char *id = gtk_combo_box_get_active_id(GTK_COMBO_BOX(c)))
      model_->draft.kind = fromRawValueOrDefault<FeedbackKind>(std::string_view(id));
    refresh();
  });
  return combo;
}

GtkWidget *GtkFeedbackWindow::messageEditor() {
  GtkWidget *frame = gtk_frame_new(nullptr);
  GtkWidget *view = gtk_text_view_new();
  gtk_text_view_set_wrap_mode(GTK_TEXT_VIEW(view), GTK_WRAP_WORD_CHAR);
  gtk_widget_set_size_request(view, -1, 140);
  gtk_widget_set_tooltip_text(view, FeedbackWindowModel::kMessagePlaceholder);
  GtkTextBuffer *buffer = gtk_text_view_get_buffer(GTK_TEXT_VIEW(view));
  gtk_text_buffer_set_text(buffer, model_->draft.message.c_str(), -1);
  on(buffer, "changed", [this](gpointer b) {
    GtkTextIter start, end;
    gtk_text_buffer_get_bounds(GTK_TEXT_BUFFER(b), &start, &end);
    gchar *text = gtk_text_buffer_get_text(GTK_TEXT_BUFFER(b), &start, &end, FALSE);
    model_->draft.message = text;
    g_free(text);
    refresh();
  });
  gtk_container_add(GTK_CONTAINER(frame), view);
  return frame;
}

GtkWidget *GtkFeedbackWindow::toggles() {
  GtkWidget *box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 2);
  struct Toggle {
    std::string label;
    bool FeedbackDraft::*field;
  };
  const Toggle list[] = {
      {model_->logsToggleLabel(), &FeedbackDraft::includeLogs},
      {FeedbackWindowModel::kTranscriptToggle, &FeedbackDraft::includeTranscript},
      {model_->systemInfoToggleLabel(), &FeedbackDraft::includeSystemInfo}};
  for (const Toggle &t : list) {
    GtkWidget *check = gtk_check_button_new_with_label(t.label.c_str());
    gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(check), model_->draft.*t.field);
    auto field = t.field;
    on(check, "toggled", [this, field](gpointer c) {
      model_->draft.*field = gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(c));
      refresh();
    });
    gtk_box_pack_start(GTK_BOX(box), check, FALSE, FALSE, 0);
  }
  return box;
}

GtkWidget *GtkFeedbackWindow::buttons() {
  GtkWidget *row = gtk_button_box_new(GTK_ORIENTATION_HORIZONTAL);
  gtk_button_box_set_layout(GTK_BUTTON_BOX(row), GTK_BUTTONBOX_END);
  gtk_box_set_spacing(GTK_BOX(row), 8);
  GtkWidget *cancel = gtk_button_new_with_label("Cancel");
  on(cancel, "clicked", [this](gpointer) { close(); });
  send_ = gtk_button_new_with_label("Send");
  on(send_, "clicked", [this](gpointer) { send(); });
  gtk_container_add(GTK_CONTAINER(row), cancel);
  gtk_container_add(GTK_CONTAINER(row), send_);
  return row;
}

void GtkFeedbackWindow::send() {
  if (!model_ || !model_->canSend() || model_->delivered()) return;
  std::weak_ptr<FeedbackWindowModel> sent = model_;
  model_->send([this, sent] {
    if (sent.lock() == model_) refresh();
  });
  refresh();
}

// The parts that depend on the draft: the exact report, the Send button, the status line.
void GtkFeedbackWindow::refresh() {
  if (!model_ || !window_) return;
  gtk_text_buffer_set_text(gtk_text_view_get_buffer(GTK_TEXT_VIEW(preview_)),
                           model_->previewText().c_str(), -1);
  gtk_button_set_label(GTK_BUTTON(send_), model_->sendButtonTitle().c_str());
  gtk_widget_set_sensitive(send_, model_->canSend() && !model_->delivered());
  gtk_label_set_text(GTK_LABEL(status_), model_->status.c_str());
}

} // namespace selvar
