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

std::unique_ptr<SparkleUpdater> SparkleUpdater::loadFromBundle() {
  NSString *frameworks = [NSBundle mainBundle].privateFrameworksPath;
  NSBundle *sparkle =
      frameworks
          ? [NSBundle
                bundleWithPath:[frameworks stringByAppendingPathComponent:@"Sparkle.framework"]]
          : nil;
  if (!sparkle) return nullptr;
  NSError *error = nil;
  if (![sparkle loadAndReturnError:&error]) {
    Log::write("updater unavailable: " + describe(error));
    return nullptr;
  }
  Class controllerClass = NSClassFromString(@"SPUStandardUpdaterController");
  if (!controllerClass) {
    Log::write("updater unavailable: the framework has no standard updater controller");
    return nullptr;
  }
  return std::make_unique<SparkleUpdater>(controllerClass);
}

void SparkleUpdater::checkForUpdates() {
  // Created on first use, started, with no delegates; the framework shows its own interface.
  if (!controller_)
    controller_ = [(id<SLVSparkleStandardUpdaterController>)[controllerClass_ alloc]
        initWithStartingUpdater:YES
                updaterDelegate:nil
             userDriverDelegate:nil];
  [((id<SLVSparkleStandardUpdaterController>)controller_).updater checkForUpdates];
}

} // namespace selvar
