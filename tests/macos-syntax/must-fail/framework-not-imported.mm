// AppKit used with only Foundation imported.
#import <Foundation/Foundation.h>

void front(NSWindow *window) {
  [window orderFrontRegardless];
}
