#pragma once
// The settings window in plain GTK 3, drawn from the core's settings model: one card per
// section (the extra ones behind "More settings"), the engine lists with their install state,
// the privacy rows and the file buttons. Every edit goes to the model, and the window is drawn
// again from it, so what shows is always what is stored. Its title bar carries the status menu,
// so that a desktop without a tray (GNOME) still reaches every one of its actions.

#include "app/SettingsModel.h"
#include "platform/MenuModel.h"

#include <functional>
#include <gtk/gtk.h>
#include <string>
#include <vector>

namespace selvar {

class GtkSettingsWindow {
public:
  // Asked to download a server engine's model; progress comes back through the model.
  using InstallEngine = std::function<void(const std::string &engineId)>;
  // The status menu as the tray shows it, built afresh each time it opens, and its choices.
  struct StatusMenu {
    std::function<std::vector<MenuItem>()> build;
    std::function<void(const MenuItem &)> chosen;
  };

  GtkSettingsWindow(SettingsModel &model, InstallEngine install, StatusMenu menu = {});
  ~GtkSettingsWindow();
  GtkSettingsWindow(const GtkSettingsWindow &) = delete;
  GtkSettingsWindow &operator=(const GtkSettingsWindow &) = delete;

  // Shows the window (expanded to every section when asked) and brings it forward.
  void present(bool expanded);
  // Draws everything again from the model (after an edit, or when install progress changes).
  void redraw();
  bool isVisible() const;

private:
  GtkWidget *sectionCard(const SettingsSection &section);
  GtkWidget *controlRow(const SettingControl &control);
  GtkWidget *controlWidget(const SettingControl &control);
  GtkWidget *toggleWidget(const SettingControl &control);
  GtkWidget *choiceWidget(const SettingControl &control);
  GtkWidget *stepperWidget(const SettingControl &control);
  GtkWidget *textWidget(const SettingControl &control);
  GtkWidget *bindingWidget(const SettingControl &control);
  GtkWidget *engineCard(const char *title, const std::vector<EngineRow> &rows, bool dictation);
  GtkWidget *permissionCard();
  GtkWidget *filesCard();
  void later(std::function<void()> edit);
  void addStatusMenu();
  static void onMenuToggled(GtkToggleButton *button, gpointer self);
  void startRecording(const std::string &key, GtkWidget *button);
  static gboolean onKeyPress(GtkWidget *, GdkEventKey *event, gpointer self);

  SettingsModel &model_;
  InstallEngine install_;
  StatusMenu statusMenu_;
  GtkWidget *window_ = nullptr;
  GtkWidget *menu_ = nullptr;
  GtkWidget *scroller_ = nullptr;
  GtkWidget *content_ = nullptr;
  std::string recordingKey_; // the binding waiting for its key, if any
};

} // namespace selvar
