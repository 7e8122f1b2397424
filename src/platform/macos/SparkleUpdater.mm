#include "platform/macos/SparkleUpdater.h"

#include "platform/macos/ObjCBridge.h"
#include "records/Log.h"

#import <Foundation/Foundation.h>

// The parts of Sparkle 2's public interface used here (SPUStandardUpdaterController and
// SPUUpdater), declared locally because the framework is found at run time, not linked.
@protocol SLVSparkleUpdater <NSObject>
- (void)checkForUpdates;
@end

@protocol SLVSparkleStandardUpdaterController <NSObject>
- (instancetype)initWithStartingUpdater:(BOOL)startUpdater
                        updaterDelegate:(id)updaterDelegate
                     userDriverDelegate:(id)userDriverDelegate;
@property(nonatomic, readonly) id<SLVSparkleUpdater> updater;
@end

namespace selvar {

std::unique_ptr<SparkleUpdater> SparkleUpdater::fromBundle() {
  NSString *frameworks = [NSBundle mainBundle].privateFrameworksPath;
  if (!frameworks) return nullptr;
  NSBundle *sparkle =
      [NSBundle bundleWithPath:[frameworks stringByAppendingPathComponent:@"Sparkle.framework"]];
  return sparkle ? std::make_unique<SparkleUpdater>(sparkle) : nullptr;
}

void SparkleUpdater::checkForUpdates() {
  if (!controller_) {
    NSError *error = nil;
    if (![framework_ loadAndReturnError:&error]) {
      Log::write("updater unavailable: " + describe(error));
      return;
    }
    Class controllerClass = NSClassFromString(@"SPUStandardUpdaterController");
    if (!controllerClass) {
      Log::write("updater unavailable: the framework has no standard updater controller");
      return;
    }
    // Started, with no delegates; the framework shows its own interface.
    controller_ = [(id<SLVSparkleStandardUpdaterController>)[controllerClass alloc]
        initWithStartingUpdater:YES
                updaterDelegate:nil
             userDriverDelegate:nil];
  }
  [((id<SLVSparkleStandardUpdaterController>)controller_).updater checkForUpdates];
}

} // namespace selvar
