#pragma once
// Everything Selvar needs of a Linux desktop (X11 or Wayland), built once GTK is up: the platform
// services the core reaches (sound, keys, clipboard, focus, applications), the pills, the tray and
// the settings window. The entry point installs it and hands its factories to the shell.

#include "app/DictationControl.h"
#include "app/EngineInstaller.h"
#include "app/HUDControl.h"
#include "app/SettingsModel.h"
#include "dictation/DictationNeighbours.h"
#include "dictation/LocalServerBridge.h"
#include "platform/IconRenderer.h"
#include "platform/Services.h"
#include "platform/linux/AppIndicatorTray.h"
#include "platform/linux/GdkScreens.h"
#include "platform/linux/GtkFeedbackWindow.h"
#include "platform/linux/GtkHudPanel.h"
#include "platform/linux/GtkSettingsWindow.h"
#include "platform/linux/LinuxAppHost.h"
#include "platform/linux/PulseAudioSystem.h"
#include "platform/linux/SessionAdapters.h"
#include "platform/linux/StatusMenuWatch.h"
#include "platform/linux/UnavailableSpeechRecognition.h"
#include "support/SerialQueue.h"

#include <memory>

namespace selvar {

class LinuxDesktop {
public:
  LinuxDesktop();
  ~LinuxDesktop();
  LinuxDesktop(const LinuxDesktop &) = delete;
  LinuxDesktop &operator=(const LinuxDesktop &) = delete;

  // Fills in the services this desktop provides.
  void install(Services &services);

  std::unique_ptr<DictationControl> makeController();
  std::unique_ptr<HUDControl> makeHUD();
  // The settings window carries the host's status menu too, for desktops that show no tray.
  void useStatusMenuOf(LinuxAppHost &host) { menuHost_ = &host; }
  void openSettings(bool expanded);
  // The status item with the shell's menu; call once the shell installed it.
  void showTray(LinuxAppHost &host, IconRenderer &icons);
  // Starts what the session needs the main loop for (desktop portal requests), then writes
  // which backend runs and what it can do.
  void announceSession();

private:
  GdkScreens screens_;
  PulseAudioSystem audio_;
  std::unique_ptr<SessionAdapters> session_;
  UnavailableSpeechRecognition speech_;
  LocalServerBridge servers_;
  GtkFeedbackWindow feedbackWindow_;
  std::unique_ptr<FeedbackWindow> feedback_;
  std::unique_ptr<GtkHudPanel> controllerPanel_;
  std::unique_ptr<SettingsModel> settingsModel_;
  // Model downloads are read off the main loop, one request at a time.
  SerialQueue installQueue_;
  std::unique_ptr<GtkSettingsWindow> settings_;
  LinuxAppHost *menuHost_ = nullptr;
  std::unique_ptr<EngineInstaller> installer_;
  std::unique_ptr<AppIndicatorTray> tray_;
  std::unique_ptr<StatusMenuWatch> menuWatch_;
};

} // namespace selvar
