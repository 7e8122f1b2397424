#pragma once
// The application's real subsystems behind the delegate's seam. The entry point supplies what
// only it can build (the controller over the platform's audio and keys, the pill's panel, the
// icon renderer); everything else is the core's own namespaces.

#include "app/AppSubsystems.h"
#include "platform/IconRenderer.h"
#include "support/SerialQueue.h"

namespace selvar {

class LiveSubsystems : public AppSubsystems {
public:
  struct Parts {
    std::function<std::unique_ptr<DictationControl>()> makeController;
    std::function<std::unique_ptr<HUDControl>()> makeHUD;
    std::function<void(bool expanded)> openSettings;
    IconRenderer *iconRenderer = nullptr;
  };
  explicit LiveSubsystems(Parts parts);

  void installLog() override;
  void startFocusTracking() override;
  void flushFeedbackOutbox() override;
  bool healStaleGrants() override;
  std::unique_ptr<DictationControl> makeController() override;
  void enforceLoginItem() override;
  void runInBackground(std::function<void()> work) override;
  std::optional<std::string> servedModel(double timeout) override;
  void purgeRecords(int days) override;
  std::vector<std::string> runningConflicts() override;
  void stopLaunchedServer() override;

  StatusMenuState statusMenuState() override;
  std::string toolTip() override;
  void insertIntoFrontmost(const std::string &text, std::function<void()> copiedOnly) override;
  void openSettings(bool expanded) override;
  void openFeedback(std::optional<std::string> dictated) override;
  void checkForUpdates() override;
  bool updaterAvailable() override;

  void sendFeedbackTest(OutcomeHandler done) override;
  std::optional<std::string> writeIconSet(const std::string &folder) override;
  void rewriteTest(const std::string &text, OutcomeHandler done) override;
  void transcribeFile(const std::string &path, OutcomeHandler done) override;
  bool transcriptionServerRunning() override;
  std::unique_ptr<HUDControl> makeHUD() override;

private:
  Parts parts_;
  // Blocking probes run here, one at a time, never on the main thread.
  SerialQueue background_;
};

} // namespace selvar
