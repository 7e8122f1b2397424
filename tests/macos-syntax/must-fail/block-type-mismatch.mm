// A block whose parameters do not match the API's block type.
#import <Foundation/Foundation.h>

void schedule() {
  [NSTimer timerWithTimeInterval:1
                         repeats:NO
                           block:^(int ticks) {
                             (void)ticks;
                           }];
}
