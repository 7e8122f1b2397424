#include "platform/linux/GtkSettingsWindow.h"

#include "hotkeys/KeyChoices.h"
#include "platform/linux/GtkMenuBuilder.h"
#include "platform/linux/MacKeyCodes.h"

#include <memory>

namespace selvar {

namespace {

GtkWidget *label(const std::string &text, const char *cssClass = nullptr) {
  GtkWidget *l = gtk_label_new(text.c_str());
  gtk_label_set_xalign(GTK_LABEL(l), 0);
  gtk_label_set_line_wrap(GTK_LABEL(l), TRUE);
  if (cssClass) gtk_style_context_add_class(gtk_widget_get_style_context(l), cssClass);
  return l;
}

GtkWidget *heading(const std::string &text) {
  GtkWidget *l = gtk_label_new(nullptr);
  gchar *markup = g_markup_printf_escaped("<b>%s</b>", text.c_str());
  gtk_label_set_markup(GTK_LABEL(l), markup);
  g_free(markup);
  gtk_label_set_xalign(GTK_LABEL(l), 0);
  return l;
}

GtkWidget *card(const std::string &title) {
  GtkWidget *frame = gtk_frame_new(nullptr);
  gtk_frame_set_label_widget(GTK_FRAME(frame), heading(title));
  GtkWidget *box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 8);
  gtk_container_set_border_width(GTK_CONTAINER(box), 10);
  gtk_container_add(GTK_CONTAINER(frame), box);
  return frame;
}

GtkWidget *cardBox(GtkWidget *frame) {
  return gtk_bin_get_child(GTK_BIN(frame));
}

// A signal handler that owns its closure.
template <typename F> void connect(GtkWidget *widget, const char *signal, F f, GCallback thunk) {
  g_signal_connect_data(
      widget, signal, thunk, new F(std::move(f)),
      [](gpointer data, GClosure *) { delete static_cast<F *>(data); }, GConnectFlags(0));
}

template <typename F> void onClicked(GtkWidget *button, F f) {
  connect(button, "clicked", std::move(f),
          G_CALLBACK(+[](GtkButton *, gpointer data) { (*static_cast<F *>(data))(); }));
}

std::string installText(const EngineInstallState &install) {
  using Phase = EngineInstallState::Phase;
  switch (install.phase) {
  case Phase::missing:
    return "Not installed";
  case Phase::ready:
    return "Installed";
  case Phase::failed:
    return "Install failed: " + install.error;
  case Phase::downloading:
    if (auto f = install.fraction()) return "Downloading " + std::to_string(int(*f * 100)) + "%";
    return "Downloading…";
  case Phase::unknown:
    break;
  }
  return {};
}

} // namespace

GtkSettingsWindow::GtkSettingsWindow(SettingsModel &model, InstallEngine install, StatusMenu menu)
    : model_(model), install_(std::move(install)), statusMenu_(std::move(menu)) {
  window_ = gtk_window_new(GTK_WINDOW_TOPLEVEL);
  gtk_window_set_title(GTK_WINDOW(window_), "Selvar Settings");
  gtk_window_set_default_size(GTK_WINDOW(window_), 620, 720);
  gtk_window_set_position(GTK_WINDOW(window_), GTK_WIN_POS_CENTER);
  // Closing hides: the window is made once and reused.
  g_signal_connect(window_, "delete-event", G_CALLBACK(gtk_widget_hide_on_delete), nullptr);
  g_signal_connect(window_, "key-press-event", G_CALLBACK(onKeyPress), this);
  scroller_ = gtk_scrolled_window_new(nullptr, nullptr);
  gtk_container_add(GTK_CONTAINER(window_), scroller_);
  if (statusMenu_.build) addStatusMenu();
}

void GtkSettingsWindow::addStatusMenu() {
  GtkWidget *bar = gtk_header_bar_new();
  gtk_header_bar_set_title(GTK_HEADER_BAR(bar), "Selvar Settings");
  gtk_header_bar_set_show_close_button(GTK_HEADER_BAR(bar), TRUE);
  GtkWidget *button = gtk_menu_button_new();
  gtk_widget_set_tooltip_text(button, "Selvar menu");
  gtk_button_set_image(GTK_BUTTON(button),
                       gtk_image_new_from_icon_name("open-menu-symbolic", GTK_ICON_SIZE_BUTTON));
  menu_ = gtk_menu_new();
  gtk_menu_button_set_popup(GTK_MENU_BUTTON(button), menu_);
  g_signal_connect(button, "toggled", G_CALLBACK(onMenuToggled), this);
  gtk_header_bar_pack_end(GTK_HEADER_BAR(bar), button);
  gtk_window_set_titlebar(GTK_WINDOW(window_), bar);
}

// Recent dictations and a kept failed recording come and go: the items are those of the moment.
void GtkSettingsWindow::onMenuToggled(GtkToggleButton *button, gpointer self) {
  auto *window = static_cast<GtkSettingsWindow *>(self);
  if (!gtk_toggle_button_get_active(button)) return;
  GtkMenuBuilder::fill(GTK_MENU_SHELL(window->menu_), window->statusMenu_.build(),
                       window->statusMenu_.chosen);
  gtk_widget_show_all(window->menu_);
}

GtkSettingsWindow::~GtkSettingsWindow() {
  gtk_widget_destroy(window_);
}

void GtkSettingsWindow::present(bool expanded) {
  if (expanded && !model_.expanded()) model_.setExpanded(true);
  redraw();
  gtk_widget_show_all(window_);
  gtk_window_present(GTK_WINDOW(window_));
}

bool GtkSettingsWindow::isVisible() const {
  return gtk_widget_get_visible(window_);
}

// Edits arrive from inside a widget's own signal; the redraw that destroys that widget waits
// until the signal has returned.
void GtkSettingsWindow::later(std::function<void()> edit) {
  auto *work = new std::function<void()>([this, edit = std::move(edit)] {
    edit();
    redraw();
  });
  g_idle_add_full(
      G_PRIORITY_DEFAULT,
      [](gpointer data) -> gboolean {
        (*static_cast<std::function<void()> *>(data))();
        return G_SOURCE_REMOVE;
      },
      work, [](gpointer data) { delete static_cast<std::function<void()> *>(data); });
}

void GtkSettingsWindow::redraw() {
  GtkAdjustment *scroll = gtk_scrolled_window_get_vadjustment(GTK_SCROLLED_WINDOW(scroller_));
  const double position = gtk_adjustment_get_value(scroll);
  // The scroller wrapped the last content in a viewport of its own; that goes with it, or the
  // scroller keeps an empty viewport and refuses the new content.
  if (GtkWidget *old = gtk_bin_get_child(GTK_BIN(scroller_))) gtk_widget_destroy(old);
  content_ = gtk_box_new(GTK_ORIENTATION_VERTICAL, 14);
  gtk_container_set_border_width(GTK_CONTAINER(content_), 16);
  const bool expanded = model_.expanded();
  for (const SettingsSection &section : model_.sections())
    if (!section.extra || expanded)
      gtk_box_pack_start(GTK_BOX(content_), sectionCard(section), FALSE, FALSE, 0);
  gtk_box_pack_start(GTK_BOX(content_),
                     engineCard("Dictation engine", model_.dictationEngines(), true), FALSE, FALSE,
                     0);
  gtk_box_pack_start(GTK_BOX(content_),
                     engineCard("Rewrite engine", model_.rewriteEngines(), false), FALSE, FALSE, 0);
  gtk_box_pack_start(GTK_BOX(content_), permissionCard(), FALSE, FALSE, 0);
  gtk_box_pack_start(GTK_BOX(content_), filesCard(), FALSE, FALSE, 0);
  GtkWidget *more = gtk_button_new_with_label(expanded ? "Fewer settings" : "More settings");
  onClicked(more, [this, expanded] { later([this, expanded] { model_.setExpanded(!expanded); }); });
  gtk_box_pack_start(GTK_BOX(content_), more, FALSE, FALSE, 0);
  gtk_container_add(GTK_CONTAINER(scroller_), content_);
  gtk_widget_show_all(scroller_);
  gtk_adjustment_set_value(scroll, position);
}

GtkWidget *GtkSettingsWindow::sectionCard(const SettingsSection &section) {
  GtkWidget *frame = card(section.title);
  for (const SettingControl &control : section.controls)
    gtk_box_pack_start(GTK_BOX(cardBox(frame)), controlRow(control), FALSE, FALSE, 0);
  return frame;
}

GtkWidget *GtkSettingsWindow::controlRow(const SettingControl &control) {
  GtkWidget *row = gtk_box_new(GTK_ORIENTATION_VERTICAL, 2);
  GtkWidget *line = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 12);
  GtkWidget *title = label(control.title);
  gtk_widget_set_hexpand(title, TRUE);
  gtk_box_pack_start(GTK_BOX(line), title, TRUE, TRUE, 0);
  gtk_box_pack_end(GTK_BOX(line), controlWidget(control), FALSE, FALSE, 0);
  gtk_box_pack_start(GTK_BOX(row), line, FALSE, FALSE, 0);
  if (!control.help.empty())
    gtk_box_pack_start(GTK_BOX(row), label(control.help, "dim-label"), FALSE, FALSE, 0);
  if (!control.warning.empty()) {
    GtkWidget *warning = label("⚠ " + control.warning);
    gtk_box_pack_start(GTK_BOX(row), warning, FALSE, FALSE, 0);
  }
  return row;
}

GtkWidget *GtkSettingsWindow::controlWidget(const SettingControl &control) {
  switch (control.kind) {
  case SettingControl::Kind::toggle:
    return toggleWidget(control);
  case SettingControl::Kind::choice:
    return choiceWidget(control);
  case SettingControl::Kind::stepper:
    return stepperWidget(control);
  case SettingControl::Kind::text:
    return textWidget(control);
  case SettingControl::Kind::keyBinding:
    return bindingWidget(control);
  }
  return gtk_label_new("");
}

GtkWidget *GtkSettingsWindow::toggleWidget(const SettingControl &control) {
  GtkWidget *sw = gtk_switch_new();
  gtk_switch_set_active(GTK_SWITCH(sw), control.isOn);
  gtk_widget_set_valign(sw, GTK_ALIGN_CENTER);
  const std::string key = control.key;
  auto changed = [this, key](bool on) { later([this, key, on] { model_.setToggle(key, on); }); };
  connect(sw, "notify::active", std::function<void(bool)>(changed),
          G_CALLBACK(+[](GObject *sw, GParamSpec *, gpointer data) {
            (*static_cast<std::function<void(bool)> *>(data))(
                gtk_switch_get_active(GTK_SWITCH(sw)));
          }));
  return sw;
}

GtkWidget *GtkSettingsWindow::choiceWidget(const SettingControl &control) {
  GtkWidget *combo = gtk_combo_box_text_new();
  for (const SettingOption &option : control.options)
    gtk_combo_box_text_append(GTK_COMBO_BOX_TEXT(combo), option.value.c_str(),
                              option.label.c_str());
  gtk_combo_box_set_active_id(GTK_COMBO_BOX(combo), control.selected.c_str());
  const std::string key = control.key;
  auto changed = [this, key](std::string value) {
    later([this, key, value] { model_.setChoice(key, value); });
  };
  connect(combo, "changed", std::function<void(std::string)>(changed),
          G_CALLBACK(+[](GtkComboBox *combo, gpointer data) {
            if (const char *id = gtk_combo_box_get_active_id(combo))
              (*static_cast<std::function<void(std::string)> *>(data))(id);
          }));
  return combo;
}

GtkWidget *GtkSettingsWindow::stepperWidget(const SettingControl &control) {
  GtkWidget *box = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 6);
  GtkWidget *spin = gtk_spin_button_new_with_range(double(control.minimum), double(control.maximum),
                                                   double(control.step));
  gtk_spin_button_set_value(GTK_SPIN_BUTTON(spin), double(control.number));
  const std::string key = control.key;
  auto changed = [this, key](std::int64_t value) {
    later([this, key, value] { model_.setNumber(key, value); });
  };
  connect(spin, "value-changed", std::function<void(std::int64_t)>(changed),
          G_CALLBACK(+[](GtkSpinButton *spin, gpointer data) {
            (*static_cast<std::function<void(std::int64_t)> *>(data))(
                gtk_spin_button_get_value_as_int(spin));
          }));
  gtk_box_pack_start(GTK_BOX(box), spin, FALSE, FALSE, 0);
  if (!control.unit.empty()) gtk_box_pack_start(GTK_BOX(box), label(control.unit), FALSE, FALSE, 0);
  return box;
}

// Typed text goes to the model as it is typed, without a redraw that would take the focus.
GtkWidget *GtkSettingsWindow::textWidget(const SettingControl &control) {
  GtkWidget *entry = gtk_entry_new();
  gtk_entry_set_text(GTK_ENTRY(entry), control.text.c_str());
  const std::string key = control.key;
  auto changed = [this, key](std::string text) { model_.setText(key, text); };
  connect(entry, "changed", std::function<void(std::string)>(changed),
          G_CALLBACK(+[](GtkEditable *entry, gpointer data) {
            (*static_cast<std::function<void(std::string)> *>(data))(
                gtk_entry_get_text(GTK_ENTRY(entry)));
          }));
  return entry;
}

GtkWidget *GtkSettingsWindow::bindingWidget(const SettingControl &control) {
  GtkWidget *box = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 6);
  GtkWidget *record = gtk_button_new_with_label(control.text.c_str());
  gtk_widget_set_tooltip_text(record, "Click, then press the key (with its modifiers)");
  const std::string key = control.key;
  onClicked(record, [this, key, record] { startRecording(key, record); });
  GtkWidget *clear = gtk_button_new_with_label("Clear");
  onClicked(clear, [this, key] { later([this, key] { model_.setBinding(key, std::nullopt); }); });
  gtk_box_pack_start(GTK_BOX(box), record, FALSE, FALSE, 0);
  gtk_box_pack_start(GTK_BOX(box), clear, FALSE, FALSE, 0);
  return box;
}

void GtkSettingsWindow::startRecording(const std::string &key, GtkWidget *button) {
  recordingKey_ = key;
  gtk_button_set_label(GTK_BUTTON(button), "Press a key…");
}

// While a binding waits, the next key press (that is not only a modifier) becomes it, in the
// core's key codes and modifier bits; Escape gives up.
gboolean GtkSettingsWindow::onKeyPress(GtkWidget *, GdkEventKey *event, gpointer self) {
  auto *window = static_cast<GtkSettingsWindow *>(self);
  if (window->recordingKey_.empty() || event->is_modifier) return FALSE;
  const std::string key = std::exchange(window->recordingKey_, {});
  auto mac = MacKeyCodes::macFromX11(event->hardware_keycode);
  if (event->keyval == GDK_KEY_Escape || !mac) {
    window->later([] {});
    return TRUE;
  }
  std::uint64_t modifiers = 0;
  if (event->state & GDK_CONTROL_MASK) modifiers |= ModifierFlag::control;
  if (event->state & GDK_MOD1_MASK) modifiers |= ModifierFlag::option;
  if (event->state & GDK_SHIFT_MASK) modifiers |= ModifierFlag::shift;
  if (event->state & (GDK_SUPER_MASK | GDK_MOD4_MASK)) modifiers |= ModifierFlag::command;
  const KeyBinding binding{*mac, modifiers};
  window->later([window, key, binding] { window->model_.setBinding(key, binding); });
  return TRUE;
}

GtkWidget *GtkSettingsWindow::engineCard(const char *title, const std::vector<EngineRow> &rows,
                                         bool dictation) {
  GtkWidget *frame = card(title);
  GSList *group = nullptr;
  for (const EngineRow &row : rows) {
    GtkWidget *line = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 10);
    GtkWidget *radio = gtk_radio_button_new_with_label(group, row.engine.displayName.c_str());
    group = gtk_radio_button_get_group(GTK_RADIO_BUTTON(radio));
    gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(radio), row.selected);
    gtk_widget_set_sensitive(radio, row.engine.runsHere);
    const std::string id = row.engine.id;
    auto chosen = [this, id, dictation](bool active) {
      if (!active) return;
      later([this, id, dictation] {
        if (dictation)
          model_.chooseDictationEngine(id);
        else
          model_.chooseRewriteEngine(id);
      });
    };
    connect(radio, "toggled", std::function<void(bool)>(chosen),
            G_CALLBACK(+[](GtkToggleButton *radio, gpointer data) {
              (*static_cast<std::function<void(bool)> *>(data))(
                  gtk_toggle_button_get_active(radio));
            }));
    gtk_box_pack_start(GTK_BOX(line), radio, FALSE, FALSE, 0);
    std::string details = row.engine.vendor;
    if (!row.engine.note.empty()) details += (details.empty() ? "" : " · ") + row.engine.note;
    const std::string install = installText(row.install);
    if (!install.empty()) details += (details.empty() ? "" : " · ") + install;
    gtk_box_pack_start(GTK_BOX(line), label(details, "dim-label"), TRUE, TRUE, 0);
    if (row.canInstall && install_) {
      GtkWidget *button = gtk_button_new_with_label("Install");
      onClicked(button, [this, id] { install_(id); });
      gtk_box_pack_end(GTK_BOX(line), button, FALSE, FALSE, 0);
    }
    gtk_box_pack_start(GTK_BOX(cardBox(frame)), line, FALSE, FALSE, 0);
  }
  return frame;
}

GtkWidget *GtkSettingsWindow::permissionCard() {
  GtkWidget *frame = card("Permissions");
  for (const PermissionRow &row : model_.permissionRows()) {
    GtkWidget *line = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 10);
    gtk_box_pack_start(GTK_BOX(line), label(row.title), TRUE, TRUE, 0);
    gtk_box_pack_start(GTK_BOX(line), label(stateText(row.state), "dim-label"), FALSE, FALSE, 0);
    GtkWidget *open = gtk_button_new_with_label("Open");
    const PermissionPane pane = row.pane;
    onClicked(open, [this, pane] { model_.openPermissionPane(pane); });
    gtk_box_pack_end(GTK_BOX(line), open, FALSE, FALSE, 0);
    gtk_box_pack_start(GTK_BOX(cardBox(frame)), line, FALSE, FALSE, 0);
  }
  return frame;
}

GtkWidget *GtkSettingsWindow::filesCard() {
  GtkWidget *frame = card("Files");
  GtkWidget *buttons = gtk_flow_box_new();
  gtk_flow_box_set_selection_mode(GTK_FLOW_BOX(buttons), GTK_SELECTION_NONE);
  struct Action {
    const char *title;
    void (SettingsModel::*run)();
  };
  const Action actions[] = {{"Open dictionary file", &SettingsModel::openDictionary},
                            {"Show logs", &SettingsModel::revealLogs},
                            {"Show history", &SettingsModel::revealHistory},
                            {"Clear diagnostics", &SettingsModel::clearDiagnostics},
                            {"Reset permissions", &SettingsModel::resetPermissions}};
  for (const Action &action : actions) {
    GtkWidget *button = gtk_button_new_with_label(action.title);
    auto run = action.run;
    onClicked(button, [this, run] { later([this, run] { (model_.*run)(); }); });
    gtk_container_add(GTK_CONTAINER(buttons), button);
  }
  gtk_box_pack_start(GTK_BOX(cardBox(frame)), buttons, FALSE, FALSE, 0);
  return frame;
}

} // namespace selvar
