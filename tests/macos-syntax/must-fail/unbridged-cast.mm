// A Foundation object passed as a C pointer without a bridging cast, which only ARC rejects:
// proves the check runs with ARC on, as the build does.
#import <Foundation/Foundation.h>

const void *opaque(NSString *text) {
  return (const void *)text;
}
