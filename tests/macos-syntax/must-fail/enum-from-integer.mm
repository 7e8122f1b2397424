// A plain integer where the SDK takes a fixed-type enumeration.
#import <AppKit/AppKit.h>

void glass(NSVisualEffectView *view) {
  view.material = 6;
}
