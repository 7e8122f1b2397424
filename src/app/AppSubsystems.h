#pragma once
// Everything the start-up sequence, the menus and the command-line switches reach in the other
// subsystems, behind one seam: the delegate owns the order and the outcome lines, this owns
// the calls.

#include "app/DictationControl.h"
#include "app/HUDControl.h"
#include "app/StatusMenu.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace selvar {

// How a test operation ended: its result text on success, the error's description otherwise.
struct TestOutcome {
  bool ok = false;
  std::string text;
};
using OutcomeHandler = std::function<void(TestOutcome)>;

class AppSubsystems {
public:
  virtual ~AppSubsystems() = default;

  // Start-up steps, named in the order the delegate calls them.
  virtual void installLog() = 0;
  virtual void startFocusTracking() = 0;
  virtual void flushFeedbackOutbox() = 0;
  virtual bool healStaleGrants() = 0;
  virtual std::unique_ptr<DictationControl> makeController() = 0;
  virtual void enforceLoginItem() = 0;
  // Runs work off the main thread.
  virtual void runInBackground(std::function<void()> work) = 0;
  // Blocks up to about the timeout; only ever called from background work.
  virtual std::optional<std::string> servedModel(double timeout) = 0;
  virtual void purgeRecords(int days) = 0;
  // Display names of the other dictation tools running now.
  virtual std::vector<std::string> runningConflicts() = 0;
  virtual void stopLaunchedServer() = 0;

  // The status menu and its actions.
  virtual StatusMenuState statusMenuState() = 0;
  virtual std::string toolTip() = 0;
  // copiedOnly as for the inserter: the text could only be copied, and the user should know.
  virtual void insertIntoFrontmost(const std::string &text, std::function<void()> copiedOnly) = 0;
  virtual void openSettings(bool expanded) = 0;
  virtual void openFeedback(std::optional<std::string> dictated) = 0;
  virtual void checkForUpdates() = 0;
  virtual bool updaterAvailable() = 0;

  // Test operations. Completions run on the main queue.
  virtual void sendFeedbackTest(OutcomeHandler done) = 0;
  // The failure's description, or nothing when every file was written.
  virtual std::optional<std::string> writeIconSet(const std::string &folder) = 0;
  virtual void rewriteTest(const std::string &text, OutcomeHandler done) = 0;
  virtual void transcribeFile(const std::string &path, OutcomeHandler done) = 0;
  // A fresh probe of the transcription server; blocks, so only from background work.
  virtual bool transcriptionServerRunning() = 0;
  // A pill of its own for the HUD switches; hiding it records "hud.hide" in the diagnostics.
  virtual std::unique_ptr<HUDControl> makeHUD() = 0;
};

} // namespace selvar
