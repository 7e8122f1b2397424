#include "platform/macos/TaskToolRunner.h"

#include "platform/macos/ObjCBridge.h"

#import <Foundation/Foundation.h>
#include <chrono>
#include <thread>

namespace selvar {

ToolExit runToolAndWait(const std::string &executable, const std::vector<std::string> &arguments) {
  NSMutableArray<NSString *> *args = [NSMutableArray array];
  for (const auto &argument : arguments)
    [args addObject:nsString(argument)];
  NSTask *task = [[NSTask alloc] init];
  task.executableURL = [NSURL fileURLWithPath:nsString(executable)];
  task.arguments = args;
  task.standardInput = [NSFileHandle fileHandleWithNullDevice];
  task.standardOutput = [NSFileHandle fileHandleWithNullDevice];
  task.standardError = [NSFileHandle fileHandleWithNullDevice];
  NSError *error = nil;
  if (![task launchAndReturnError:&error]) return {std::nullopt, describe(error)};
  // Polled rather than waitUntilExit, which would run the main run loop (and queued work)
  // in the middle of start-up.
  while (task.running)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  return {task.terminationStatus, {}};
}

} // namespace selvar
