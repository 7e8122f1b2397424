// Selvar's entry point on macOS: installs the platform services, runs NSApplication as an
// accessory (status-bar) application and hands its launch and termination to the application
// delegate.

#include "app/AppDelegate.h"
#include "app/ControllerControl.h"
#include "app/FeedbackWindowBridge.h"
#include "app/LiveSubsystems.h"
#include "app/PillControl.h"
#include "dictation/LocalServerBridge.h"
#include "feedback/FeedbackWindowController.h"
#include "permissions/Permissions.h"
#include "platform/NotificationCenter.h"
#include "platform/PlatformCapabilities.h"
#include "platform/Services.h"
#include "platform/ShellServices.h"
#include "platform/macos/AccessibilityAdapter.h"
#include "platform/macos/AppKitAppHost.h"
#include "platform/macos/AppKitFeedbackWindow.h"
#include "platform/macos/AppKitHudPanel.h"
#include "platform/macos/AppKitScreens.h"
#include "platform/macos/AppKitSettingsWindow.h"
#include "platform/macos/AudioConverterAdapter.h"
#include "platform/macos/AudioEngineInput.h"
#include "platform/macos/BundleSingleInstance.h"
#include "platform/macos/BundleSystemInfo.h"
#include "platform/macos/CoreGraphicsIconRenderer.h"
#include "platform/macos/DispatchMainQueue.h"
#include "platform/macos/EventTapAdapter.h"
#include "platform/macos/KeySynthesizerAdapter.h"
#include "platform/macos/KeyboardLayoutAdapter.h"
#include "platform/macos/LoginItemAdapter.h"
#include "platform/macos/MacClock.h"
#include "platform/macos/MacFileLocations.h"
#include "platform/macos/PasteboardAdapter.h"
#include "platform/macos/PermissionAccessAdapter.h"
#include "platform/macos/ProcessRunnerAdapter.h"
#include "platform/macos/SparkleUpdater.h"
#include "platform/macos/SpeechRecognizerAdapter.h"
#include "platform/macos/TaskToolRunner.h"
#include "platform/macos/UserDefaultsSettingsStore.h"
#include "platform/macos/VDSPDsp.h"
#include "platform/macos/WorkspaceAdapter.h"
#include "records/Log.h"

#import <AppKit/AppKit.h>
#include <csignal>
#include <cstdio>
#include <dispatch/dispatch.h>

using namespace selvar;

// Hands NSApplication's launch and termination to the core's application delegate.
@interface SLVApplicationDelegate : NSObject <NSApplicationDelegate>
- (instancetype)initWithDelegate:(AppDelegate *)delegate;
@end

@implementation SLVApplicationDelegate {
  AppDelegate *_delegate;
}
- (instancetype)initWithDelegate:(AppDelegate *)delegate {
  self = [super init];
  if (self) _delegate = delegate;
  return self;
}
- (void)applicationDidFinishLaunching:(NSNotification *)notification {
  _delegate->applicationDidFinishLaunching();
}
- (void)applicationWillTerminate:(NSNotification *)notification {
  _delegate->applicationWillTerminate();
  Log::flush();
}
@end

namespace {

// The pill of the HUD test switches, on a panel of its own.
class PanelPill : public HUDControl {
public:
  explicit PanelPill(const Screens &screens) : pill_(panel_, screens) {}
  void show(const std::string &state) override { pill_.show(state); }
  void hide() override { pill_.hide(); }
  bool isVisible() const override { return pill_.isVisible(); }
  void updateSpectrum(std::span<const float> levels) override { pill_.updateSpectrum(levels); }

private:
  AppKitHudPanel panel_;
  PillControl pill_;
};

// A terminate request from outside (kill, Control-C in a terminal) takes the ordinary
// terminate path, so that a transcription server this copy launched is stopped too.
dispatch_source_t terminateOnSignal(int signal, AppHost &host) {
  ::signal(signal, SIG_IGN);
  dispatch_source_t source = dispatch_source_create(
      DISPATCH_SOURCE_TYPE_SIGNAL, static_cast<uintptr_t>(signal), 0, dispatch_get_main_queue());
  dispatch_source_set_event_handler(source, ^{
    host.terminate();
  });
  dispatch_resume(source);
  return source;
}

} // namespace

int main(int argc, const char *argv[]) {
  @autoreleasepool {
    auto options = CommandLineOptions::parse(std::vector<std::string>(argv, argv + argc));
    if (auto answer = options.immediateAnswer()) {
      std::fputs(answer->c_str(), stdout);
      return 0;
    }

    // Everything below lives until the process exits: NSApplication ends it from inside run.
    MacFileLocations files;
    NotificationCenter notifications;
    DispatchMainQueue mainQueue;
    MacClock clock;
    UserDefaultsSettingsStore settings;
    WorkspaceAdapter workspace;
    PermissionAccessAdapter permissions;
    AudioEngineInputSystem audio;
    SpeechRecognizerAdapter speech;
    AccessibilityAdapter accessibility;
    PasteboardAdapter pasteboard;
    KeySynthesizerAdapter keySynthesizer;
    EventTapAdapter keyboardTap;
    VDSPDsp dsp;
    KeyboardLayoutAdapter keyboardLayout;
    ProcessRunnerAdapter processes;
    AudioConverterAdapter converters;
    BundleSystemInfo systemInfo;
    Services s;
    s.mainQueue = &mainQueue;
    s.clock = &clock;
    s.settings = &settings;
    s.notifications = &notifications;
    s.files = &files;
    s.workspace = &workspace;
    s.permissions = &permissions;
    s.audio = &audio;
    s.speech = &speech;
    s.accessibility = &accessibility;
    s.pasteboard = &pasteboard;
    s.keySynthesizer = &keySynthesizer;
    s.keyboardTap = &keyboardTap;
    s.dsp = &dsp;
    s.keyboardLayout = &keyboardLayout;
    s.processes = &processes;
    s.audioConverters = &converters;
    s.systemInfo = &systemInfo;
    installServices(s);
    // The system's on-device recognizer is here; its language model is reachable only from
    // Swift, so the rewrite engine that needs it is not offered.
    setPlatformCapabilities({true, false, "macOS"});

    LoginItemAdapter loginItem;
    std::unique_ptr<SparkleUpdater> updater = SparkleUpdater::fromBundle();
    installShellServices({&loginItem, updater.get()});
    Permissions::installToolRunner(runToolAndWait);
    AppKitFeedbackWindow feedbackWindow;
    FeedbackWindowController::installPresenter(&feedbackWindow);
    AppKitSettingsWindow settingsWindow;

    NSApplication *app = [NSApplication sharedApplication];
    [app setActivationPolicy:NSApplicationActivationPolicyAccessory];
    AppKitAppHost host;
    BundleSingleInstance instance;
    CoreGraphicsIconRenderer icons;
    AppKitScreens screens;
    LocalServerBridge servers;
    FeedbackWindowBridge feedbackOpener;
    std::unique_ptr<AppKitHudPanel> controllerPanel;
    LiveSubsystems::Parts parts;
    parts.iconRenderer = &icons;
    parts.makeController = [&] {
      controllerPanel = std::make_unique<AppKitHudPanel>();
      DictationNeighbours neighbours;
      neighbours.servers = &servers;
      neighbours.feedback = &feedbackOpener;
      neighbours.hudPanel = controllerPanel.get();
      neighbours.screens = &screens;
      neighbours.makeRecorder = makeWavRecording;
      return std::make_unique<ControllerControl>(std::move(neighbours));
    };
    parts.makeHUD = [&screens] { return std::make_unique<PanelPill>(screens); };
    parts.openSettings = [&settingsWindow](bool expanded) { settingsWindow.open(expanded); };
    LiveSubsystems subsystems(std::move(parts));
    AppDelegate delegate(host, subsystems, instance, std::move(options));
    SLVApplicationDelegate *appDelegate =
        [[SLVApplicationDelegate alloc] initWithDelegate:&delegate];
    app.delegate = appDelegate;
    dispatch_source_t onTerminate = terminateOnSignal(SIGTERM, host);
    dispatch_source_t onInterrupt = terminateOnSignal(SIGINT, host);
    [app run];
    (void)onTerminate;
    (void)onInterrupt;
  }
  return 0;
}
