#include "platform/macos/BundleSingleInstance.h"

#import <AppKit/AppKit.h>

namespace selvar {

InstanceClaim BundleSingleInstance::claim() {
  NSString *bundleId = [NSBundle mainBundle].bundleIdentifier;
  if (!bundleId) return {true, 0}; // a bare executable outside a bundle
  const pid_t own = [NSProcessInfo processInfo].processIdentifier;
  for (NSRunningApplication *app in
       [NSRunningApplication runningApplicationsWithBundleIdentifier:bundleId])
    if (app.processIdentifier != own && !app.terminated) return {false, app.processIdentifier};
  return {true, 0};
}

} // namespace selvar
