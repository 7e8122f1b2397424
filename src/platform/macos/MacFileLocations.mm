#include "platform/macos/MacFileLocations.h"

#include "platform/macos/ObjCBridge.h"

#import <Foundation/Foundation.h>
#include <cstdlib>

namespace selvar {

namespace fs = std::filesystem;

namespace {
fs::path path(NSString *text) {
  return fs::path(stdString(text));
}
} // namespace

fs::path MacFileLocations::dataRoot() const {
  if (const char *home = std::getenv("SELVAR_HOME"); home && *home) return fs::path(home);
  NSURL *support = [[NSFileManager defaultManager] URLsForDirectory:NSApplicationSupportDirectory
                                                          inDomains:NSUserDomainMask]
                       .firstObject;
  if (!support) return homeDir() / "Library/Application Support/Selvar";
  return path(support.path) / "Selvar";
}

fs::path MacFileLocations::homeDir() const {
  return path(NSHomeDirectory());
}

fs::path MacFileLocations::tempDir() const {
  return path(NSTemporaryDirectory());
}

std::optional<fs::path> MacFileLocations::resourcesDir() const {
  // The application bundle's Resources; a bare executable in the build tree uses the checkout.
  std::error_code ec;
  NSString *bundled = [NSBundle mainBundle].resourcePath;
  if (bundled && fs::exists(path(bundled) / "asr-server.py", ec)) return path(bundled);
  fs::path tools = fs::path(SELVAR_SOURCE_DIR) / "tools";
  if (fs::exists(tools / "asr-server.py", ec)) return tools;
  return std::nullopt;
}

} // namespace selvar
