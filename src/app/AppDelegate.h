#pragma once
// The application's entry once the platform has started it: brings the subsystems up in a
// fixed order on the main thread, serves the menus, runs the command-line switches and stops
// what this copy launched when it ends.

#include "app/AppSubsystems.h"
#include "app/CommandLineOptions.h"
#include "platform/AppHost.h"
#include "platform/NotificationCenter.h"
#include "platform/SingleInstance.h"

#include <memory>

namespace selvar {

class AppDelegate {
public:
  AppDelegate(AppHost &host, AppSubsystems &subsystems, SingleInstance &instance,
              CommandLineOptions options);
  ~AppDelegate();
  AppDelegate(const AppDelegate &) = delete;
  AppDelegate &operator=(const AppDelegate &) = delete;

  void applicationDidFinishLaunching();
  void applicationWillTerminate();

  // Menu actions.
  void handleMenu(const MenuItem &item);
  void pasteLastDictation();
  void pasteRecent(const MenuItem &item);
  void retryFailedDictation();
  std::vector<MenuItem> rebuildMenu();
  // A word from the control channel: a key press ("toggle") or kShowSettingsWord, which a
  // second plain launch sends so that Selvar stays reachable where no tray is shown. False
  // when the word names nothing.
  static constexpr const char *kShowSettingsWord = "settings";
  bool controlCommand(const std::string &word);

  // Whether this copy passed the single-instance rule and started up.
  bool isRunning() const { return running_; }
  DictationControl *controller() const { return controller_.get(); }

private:
  void startUp();
  void chooseDefaultEngine();
  void runSwitches();
  void purgeAndCheckConflicts();

  // Test switches that end the process.
  void feedbackTest();
  void writeIcon(const std::string &folder);
  void rewriteTest(const std::string &text);
  void transcribeFile(const std::string &path);
  void hudSelftest();
  void hudSelftestCycle(int cycle);
  void hudPreview();
  void hudPreviewFrame(double startedAt);
  void retryFailedSwitch();
  void serverDictateTest(double seconds);
  void dictateTest(double seconds);

  // Writes the outcome line to the log and to the terminal the process runs in.
  void report(const std::string &line);
  void beginEndingSwitch();
  void endEndingSwitch();

  AppHost &host_;
  AppSubsystems &subsystems_;
  SingleInstance &instance_;
  CommandLineOptions options_;
  std::unique_ptr<DictationControl> controller_;
  std::unique_ptr<HUDControl> hud_;
  bool running_ = false;
  bool startupDone_ = false;
  bool terminating_ = false;
  int pendingEndingSwitches_ = 0;
  bool anyEndingSwitch_ = false;
  NotificationCenter::Token triggerObserver_ = 0;
  // Lets late background work see that the delegate is gone.
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace selvar
