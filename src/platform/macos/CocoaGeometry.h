#pragma once
// The core's geometry values to and from Cocoa's, which share their coordinate system.

#include "support/Geometry.h"

#import <Foundation/Foundation.h>

namespace selvar {

inline Point fromNS(NSPoint p) {
  return {p.x, p.y};
}
inline Size fromNS(NSSize s) {
  return {s.width, s.height};
}
inline Rect fromNS(NSRect r) {
  return {fromNS(r.origin), fromNS(r.size)};
}
inline NSPoint toNS(Point p) {
  return NSMakePoint(p.x, p.y);
}
inline NSRect toNS(Rect r) {
  return NSMakeRect(r.origin.x, r.origin.y, r.size.width, r.size.height);
}

} // namespace selvar
