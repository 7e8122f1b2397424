#include "platform/linux/LinuxDesktop.h"

#include "app/ControllerControl.h"
#include "app/FeedbackWindowBridge.h"
#include "app/PillControl.h"
#include "dictation/DictationController.h"
#include "feedback/FeedbackWindowController.h"
#include "platform/FileLocations.h"
#include "platform/linux/SessionBackend.h"
#include "records/Log.h"

#include <glib.h>

namespace selvar {

namespace {

// A pill of its own for the HUD switches, with its own window.
class OwnPanelPill : public HUDControl {
public:
  OwnPanelPill(std::unique_ptr<GtkHudPanel> panel, const GdkScreens &screens)
      : panel_(std::move(panel)), pill_(*panel_, screens) {}
  void show(const std::string &state) override { pill_.show(state); }
  void hide() override { pill_.hide(); }
  bool isVisible() const override { return pill_.isVisible(); }
  void updateSpectrum(std::span<const float> levels) override { pill_.updateSpectrum(levels); }

private:
  std::unique_ptr<GtkHudPanel> panel_;
  PillControl pill_;
};

std::filesystem::path statusIconFile() {
  return std::filesystem::path(g_get_user_runtime_dir()) / "selvar" / "icons" / "selvar-status.png";
}

} // namespace

LinuxDesktop::LinuxDesktop()
    : screens_(gdk_display_get_default()),
      session_(SessionBackends::current() == SessionBackend::wayland ? makeWaylandAdapters()
                                                                     : makeX11Adapters()),
      feedback_(std::make_unique<FeedbackWindowBridge>()) {
  FeedbackWindowController::installPresenter(&feedbackWindow_);
}

LinuxDesktop::~LinuxDesktop() {
  FeedbackWindowController::installPresenter(nullptr);
}

void LinuxDesktop::install(Services &s) {
  s.audio = &audio_;
  s.workspace = &session_->workspace();
  s.permissions = &session_->permissions();
  s.accessibility = &session_->accessibility();
  s.pasteboard = &session_->pasteboard();
  s.keySynthesizer = &session_->keySynthesizer();
  s.keyboardTap = &session_->keyboardTap();
  s.speech = &speech_;
}

std::unique_ptr<DictationControl> LinuxDesktop::makeController() {
  controllerPanel_ = session_->makeHudPanel(screens_);
  DictationNeighbours n;
  n.servers = &servers_;
  n.feedback = feedback_.get();
  n.hudPanel = controllerPanel_.get();
  n.screens = &screens_;
  n.makeRecorder = makeWavRecording;
  return std::make_unique<ControllerControl>(std::move(n));
}

std::unique_ptr<HUDControl> LinuxDesktop::makeHUD() {
  return std::make_unique<OwnPanelPill>(session_->makeHudPanel(screens_), screens_);
}

void LinuxDesktop::openSettings(bool expanded) {
  if (!settings_) {
    settingsModel_ = std::make_unique<SettingsModel>();
    installer_ = std::make_unique<EngineInstaller>(
        [this](std::function<void()> work) { installQueue_.async(std::move(work)); },
        [this](const std::string &id, const EngineInstallState &state) {
          settingsModel_->setInstallState(id, state);
          if (settings_) settings_->redraw();
        });
    GtkSettingsWindow::StatusMenu menu;
    if (auto *host = menuHost_) {
      menu.build = [host] { return host->statusMenu(); };
      menu.chosen = [host](const MenuItem &item) { host->choose(item); };
    }
    settings_ = std::make_unique<GtkSettingsWindow>(
        *settingsModel_, [this](const std::string &id) { installer_->install(id); },
        std::move(menu));
  }
  installer_->refresh();
  settings_->present(expanded);
}

void LinuxDesktop::showTray(LinuxAppHost &host, IconRenderer &icons) {
  const auto icon = statusIconFile();
  std::error_code error;
  std::filesystem::create_directories(icon.parent_path(), error);
  if (auto failure = icons.writeStatusGlyph(icon, 44))
    Log::write("tray icon not written: " + *failure);
  tray_ = std::make_unique<AppIndicatorTray>(
      icon, [&host] { return host.statusMenu(); },
      [&host](const MenuItem &item) { host.choose(item); });
  tray_->setToolTip(host.statusToolTip());
  menuWatch_ = std::make_unique<StatusMenuWatch>(
      std::vector<std::filesystem::path>{Paths::history(), Paths::failedRecordings()},
      [this, &host] {
        tray_->setToolTip(host.statusToolTip());
        tray_->refresh();
      });
}

void LinuxDesktop::announceSession() {
  session_->start();
  for (const auto &line : session_->startupNotes())
    Log::write(line);
}

} // namespace selvar
