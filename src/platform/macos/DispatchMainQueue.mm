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
  dispatch_time_t when =
      dispatch_time(DISPATCH_TIME_NOW, static_cast<int64_t>(seconds * NSEC_PER_SEC));
  dispatch_after(when, dispatch_get_main_queue(), ^{
    work();
  });
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
  // Run loops are not thread-safe to modify from elsewhere; the timer is added on the main one.
  dispatch_async(dispatch_get_main_queue(), ^{
    [[NSRunLoop mainRunLoop] addTimer:runLoopTimer forMode:NSRunLoopCommonModes];
  });
  return timer;
}

bool DispatchMainQueue::isMainThread() const {
  return [NSThread isMainThread];
}

} // namespace selvar
