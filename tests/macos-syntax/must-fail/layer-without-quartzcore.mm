// A layer property used without importing Core Animation (AppKit only forward-declares CALayer).
#import <AppKit/AppKit.h>

void round(NSView *view) {
  view.layer.cornerRadius = 4;
}
