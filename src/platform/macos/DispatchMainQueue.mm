#include "platform/macos/DispatchMainQueue.h"

#import <Foundation/Foundation.h>
#include <dispatch/dispatch.h>

namespace selvar {

void DispatchMainQueue::async(std::function<void()> work) {
  dispatch_async(dispatch_get_main_queue(), ^{
    work();
  });
}

void DispatchMainQueue::asyncAfter(double seconds, std::function<void()> work) {
  scheduleTimer(seconds, std::move(work));
}

TimerRef DispatchMainQueue::scheduleTimer(double seconds, std::function<void()> work) {
  TimerRef timer = std::make_shared<Timer>();
  NSTimer *runLoopTimer = [NSTimer timerWithTimeInterval:seconds
                                                 repeats:NO
                                                   block:^(NSTimer *) {
                                                     if (!timer->isValid()) return;
                                                     timer->invalidate();
                                                     work();
                                                   }];
  // Core Foundation's run loops (unlike NSRunLoop) may be given timers from any thread.
  CFRunLoopAddTimer(CFRunLoopGetMain(), (__bridge CFRunLoopTimerRef)runLoopTimer,
                    kCFRunLoopCommonModes);
  return timer;
}

bool DispatchMainQueue::isMainThread() const {
  return [NSThread isMainThread];
}

} // namespace selvar
