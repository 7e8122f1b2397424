#include "platform/macos/BundleSystemInfo.h"

#include "platform/macos/ObjCBridge.h"

#import <Foundation/Foundation.h>

namespace selvar {

namespace {

std::optional<std::string> infoString(NSString *key) {
  id value = [[NSBundle mainBundle] objectForInfoDictionaryKey:key];
  if (![value isKindOfClass:[NSString class]]) return std::nullopt;
  return stdString(value);
}

} // namespace

SystemInfo BundleSystemInfo::current() const {
  SystemInfo info;
  info.appVersion = infoString(@"CFBundleShortVersionString");
  info.build = infoString(@"CFBundleVersion");
  NSOperatingSystemVersion v = [NSProcessInfo processInfo].operatingSystemVersion;
  info.osVersion = std::to_string(v.majorVersion) + "." + std::to_string(v.minorVersion) + "." +
                   std::to_string(v.patchVersion);
  // Selvar is built for Apple silicon only.
  info.architecture = "arm64";
  return info;
}

} // namespace selvar
