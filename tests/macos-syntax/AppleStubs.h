// Minimal declarations of the Apple SDK symbols Selvar's macOS layer uses, written to match the
// SDK's own signatures, so that the layer can be parsed on Linux (scripts/test.d/macos-syntax.sh).
// Only what the layer uses is declared: a symbol missing here is either a typo in the layer or
// a new use that must be added here after checking Apple's documentation.
//
// The file is included before every checked source, which declares the language basics, and
// again by each stand-in framework header in frameworks/, which asks for its section. A source
// therefore sees a framework's symbols only if it imports that framework, as with the SDK.

// Kept in the SDK's own layout, so declarations compare easily with Apple's headers.
// clang-format off

// ---------------------------------------------------------------------------------------------
// Language basics: objc/objc.h, MacTypes.h, the availability and enum macros.
#ifndef SLV_STUB_BASE
#define SLV_STUB_BASE

#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

typedef bool BOOL; // arm64: OBJC_BOOL_IS_BOOL
#define YES __objc_yes
#define NO __objc_no
#define nil nullptr
#define Nil nullptr

typedef long NSInteger;
typedef unsigned long NSUInteger;

typedef unsigned char UInt8;
typedef unsigned short UInt16;
typedef unsigned int UInt32;
typedef unsigned long long UInt64;
typedef signed int SInt32;
typedef unsigned char Boolean;
typedef SInt32 OSStatus;
typedef UInt32 OptionBits;
typedef UInt16 UniChar;
typedef unsigned long UniCharCount;
enum { noErr = 0 };

// In C++ the options macros give a plain integer type; the enum macros a fixed-type enum.
#define NS_ENUM(_type, _name) enum _name : _type _name; enum _name : _type
#define NS_OPTIONS(_type, _name) _type _name; enum : _type
#define CF_ENUM(_type, _name) enum _name : _type _name; enum _name : _type
#define CF_OPTIONS(_type, _name) _type _name; enum : _type

#endif

// ---------------------------------------------------------------------------------------------
// libdispatch
#if defined(SLV_WANT_DISPATCH) && !defined(SLV_STUB_DISPATCH)
#define SLV_STUB_DISPATCH

typedef struct dispatch_queue_s *dispatch_queue_t;
typedef void (^dispatch_block_t)(void);
typedef enum : unsigned int {
  QOS_CLASS_UTILITY = 0x11,
} qos_class_t;

dispatch_queue_t dispatch_get_main_queue(void);
dispatch_queue_t dispatch_get_global_queue(intptr_t identifier, uintptr_t flags);
void dispatch_async(dispatch_queue_t queue, dispatch_block_t block);

// Dispatch objects as C++ sees them (without Objective-C object types): sources derive from
// the common object type.
struct dispatch_object_s {};
typedef struct dispatch_object_s *dispatch_object_t;
struct dispatch_source_s : dispatch_object_s {};
typedef struct dispatch_source_s *dispatch_source_t;
typedef const struct dispatch_source_type_s *dispatch_source_type_t;
extern const struct dispatch_source_type_s _dispatch_source_type_signal;
#define DISPATCH_SOURCE_TYPE_SIGNAL (&_dispatch_source_type_signal)
dispatch_source_t dispatch_source_create(dispatch_source_type_t type, uintptr_t handle,
                                         uintptr_t mask, dispatch_queue_t queue);
void dispatch_source_set_event_handler(dispatch_source_t source, dispatch_block_t handler);
void dispatch_resume(dispatch_object_t object);

#endif

// ---------------------------------------------------------------------------------------------
// CoreFoundation
#if defined(SLV_WANT_COREFOUNDATION) && !defined(SLV_STUB_COREFOUNDATION)
#define SLV_STUB_COREFOUNDATION

typedef const void *CFTypeRef;
typedef unsigned long CFTypeID;
typedef long CFIndex;
typedef double CFTimeInterval;
typedef const struct __CFAllocator *CFAllocatorRef;
typedef const struct __CFString *CFStringRef;
typedef const struct __CFData *CFDataRef;
typedef const struct __CFNumber *CFNumberRef;
typedef struct __CFRunLoop *CFRunLoopRef;
typedef struct __CFRunLoopSource *CFRunLoopSourceRef;
typedef struct __CFMachPort *CFMachPortRef;
typedef struct __CFRunLoopTimer *CFRunLoopTimerRef;
typedef const struct __CFURL *CFURLRef;
typedef const struct __CFDictionary *CFDictionaryRef;
typedef CFStringRef CFRunLoopMode;

extern const CFAllocatorRef kCFAllocatorDefault;
extern const CFRunLoopMode kCFRunLoopCommonModes;

#define CFSTR(cStr) ((CFStringRef)__builtin___CFStringMakeConstantString("" cStr ""))

void CFRelease(CFTypeRef cf);
CFTypeID CFGetTypeID(CFTypeRef cf);
CFTypeID CFBooleanGetTypeID(void);
Boolean CFNumberIsFloatType(CFNumberRef number);
const UInt8 *CFDataGetBytePtr(CFDataRef theData);
CFRunLoopRef CFRunLoopGetMain(void);
void CFRunLoopAddSource(CFRunLoopRef rl, CFRunLoopSourceRef source, CFRunLoopMode mode);
void CFRunLoopRemoveSource(CFRunLoopRef rl, CFRunLoopSourceRef source, CFRunLoopMode mode);
void CFRunLoopAddTimer(CFRunLoopRef rl, CFRunLoopTimerRef timer, CFRunLoopMode mode);
CFRunLoopSourceRef CFMachPortCreateRunLoopSource(CFAllocatorRef allocator, CFMachPortRef port,
                                                 CFIndex order);
void CFMachPortInvalidate(CFMachPortRef port);

#endif

// ---------------------------------------------------------------------------------------------
// CoreGraphics geometry (CGBase.h, CGGeometry.h), which Foundation's geometry builds on.
#if defined(SLV_WANT_CGGEOMETRY) && !defined(SLV_STUB_CGGEOMETRY)
#define SLV_STUB_CGGEOMETRY

typedef double CGFloat;
struct CGPoint {
  CGFloat x;
  CGFloat y;
};
typedef struct CGPoint CGPoint;
struct CGSize {
  CGFloat width;
  CGFloat height;
};
typedef struct CGSize CGSize;
struct CGRect {
  CGPoint origin;
  CGSize size;
};
typedef struct CGRect CGRect;
CGPoint CGPointMake(CGFloat x, CGFloat y);
CGRect CGRectMake(CGFloat x, CGFloat y, CGFloat width, CGFloat height);
CGFloat CGRectGetMinX(CGRect rect);
CGFloat CGRectGetMaxX(CGRect rect);
struct CGAffineTransform {
  CGFloat a, b, c, d;
  CGFloat tx, ty;
};
typedef struct CGAffineTransform CGAffineTransform;

#endif

// ---------------------------------------------------------------------------------------------
// CoreGraphics: colours, images, events.
#if defined(SLV_WANT_COREGRAPHICS) && !defined(SLV_STUB_COREGRAPHICS)
#define SLV_STUB_COREGRAPHICS

typedef struct CGColor *CGColorRef;
typedef struct CGColorSpace *CGColorSpaceRef;
typedef struct CGGradient *CGGradientRef;
typedef struct CGContext *CGContextRef;
typedef const struct CGPath *CGPathRef;
typedef struct CGImage *CGImageRef;

extern const CFStringRef kCGColorSpaceSRGB;
CGColorSpaceRef CGColorSpaceCreateWithName(CFStringRef name);
CGGradientRef CGGradientCreateWithColorComponents(CGColorSpaceRef space, const CGFloat *components,
                                                  const CGFloat *locations, size_t count);
CGPathRef CGPathCreateWithRoundedRect(CGRect rect, CGFloat cornerWidth, CGFloat cornerHeight,
                                      const CGAffineTransform *transform);

typedef CF_ENUM(int32_t, CGLineCap){
    kCGLineCapRound = 1,
};
typedef uint32_t CGGradientDrawingOptions; // CF_OPTIONS: a plain integer type in C++
void CGContextSaveGState(CGContextRef c);
void CGContextRestoreGState(CGContextRef c);
void CGContextTranslateCTM(CGContextRef c, CGFloat tx, CGFloat ty);
void CGContextScaleCTM(CGContextRef c, CGFloat sx, CGFloat sy);
void CGContextSetLineWidth(CGContextRef c, CGFloat width);
void CGContextSetLineCap(CGContextRef c, CGLineCap cap);
void CGContextSetAlpha(CGContextRef c, CGFloat alpha);
void CGContextSetRGBFillColor(CGContextRef c, CGFloat red, CGFloat green, CGFloat blue,
                              CGFloat alpha);
void CGContextSetRGBStrokeColor(CGContextRef c, CGFloat red, CGFloat green, CGFloat blue,
                                CGFloat alpha);
void CGContextAddPath(CGContextRef c, CGPathRef path);
void CGContextMoveToPoint(CGContextRef c, CGFloat x, CGFloat y);
void CGContextAddLineToPoint(CGContextRef c, CGFloat x, CGFloat y);
void CGContextReplacePathWithStrokedPath(CGContextRef c);
void CGContextClip(CGContextRef c);
void CGContextFillPath(CGContextRef c);
void CGContextStrokePath(CGContextRef c);
void CGContextDrawLinearGradient(CGContextRef c, CGGradientRef gradient, CGPoint startPoint,
                                 CGPoint endPoint, CGGradientDrawingOptions options);

typedef CF_ENUM(uint32_t, CGImageAlphaInfo){
    kCGImageAlphaPremultipliedLast = 1,
};
typedef CF_OPTIONS(uint32_t, CGBitmapInfo){
    kCGBitmapByteOrder32Big = (4 << 12),
};
CGContextRef CGBitmapContextCreate(void *data, size_t width, size_t height,
                                   size_t bitsPerComponent, size_t bytesPerRow,
                                   CGColorSpaceRef space, uint32_t bitmapInfo);
CGImageRef CGBitmapContextCreateImage(CGContextRef context);

typedef struct __CGEvent *CGEventRef;
typedef struct __CGEventSource *CGEventSourceRef;
typedef struct __CGEventTapProxy *CGEventTapProxy;
typedef uint64_t CGEventMask;
typedef uint16_t CGKeyCode;
typedef CF_ENUM(uint32_t, CGEventType){
    kCGEventKeyDown = 10,
    kCGEventFlagsChanged = 12,
    kCGEventTapDisabledByTimeout = 0xFFFFFFFE,
    kCGEventTapDisabledByUserInput = 0xFFFFFFFF,
};
typedef uint64_t CGEventFlags; // CF_OPTIONS: a plain integer type in C++
typedef CF_ENUM(uint32_t, CGEventTapLocation){
    kCGHIDEventTap = 0,
    kCGSessionEventTap = 1,
};
typedef CF_ENUM(uint32_t, CGEventTapPlacement){
    kCGHeadInsertEventTap = 0,
};
typedef CF_ENUM(uint32_t, CGEventTapOptions){
    kCGEventTapOptionDefault = 0x00000000,
};
typedef CF_ENUM(uint32_t, CGEventField){
    kCGKeyboardEventKeycode = 9,
};
typedef CF_ENUM(int32_t, CGEventSourceStateID){
    kCGEventSourceStateCombinedSessionState = 0,
};
typedef CGEventRef (*CGEventTapCallBack)(CGEventTapProxy proxy, CGEventType type,
                                         CGEventRef event, void *userInfo);
#define CGEventMaskBit(eventType) ((CGEventMask)1 << (eventType))

CFMachPortRef CGEventTapCreate(CGEventTapLocation tap, CGEventTapPlacement place,
                               CGEventTapOptions options, CGEventMask eventsOfInterest,
                               CGEventTapCallBack callback, void *userInfo);
void CGEventTapEnable(CFMachPortRef tap, bool enable);
int64_t CGEventGetIntegerValueField(CGEventRef event, CGEventField field);
CGEventFlags CGEventGetFlags(CGEventRef event);
void CGEventSetFlags(CGEventRef event, CGEventFlags flags);
CGEventSourceRef CGEventSourceCreate(CGEventSourceStateID stateID);
bool CGEventSourceKeyState(CGEventSourceStateID stateID, CGKeyCode key);
CGEventRef CGEventCreateKeyboardEvent(CGEventSourceRef source, CGKeyCode virtualKey,
                                      bool keyDown);
void CGEventPost(CGEventTapLocation tap, CGEventRef event);

#endif

// ---------------------------------------------------------------------------------------------
// Foundation
#if defined(SLV_WANT_FOUNDATION) && !defined(SLV_STUB_FOUNDATION)
#define SLV_STUB_FOUNDATION

@class NSString, NSError, NSDictionary, NSArray;

@protocol NSObject
- (BOOL)isKindOfClass:(Class)aClass;
@end

@interface NSObject <NSObject>
+ (instancetype)alloc;
+ (Class)class;
- (instancetype)init;
- (id)copy;
- (id)mutableCopy;
@end

@protocol NSCopying
@end

typedef struct {
  unsigned long state;
  __unsafe_unretained id *itemsPtr;
  unsigned long *mutationsPtr;
  unsigned long extra[5];
} NSFastEnumerationState;

@protocol NSFastEnumeration
- (NSUInteger)countByEnumeratingWithState:(NSFastEnumerationState *)state
                                  objects:(__unsafe_unretained id[])buffer
                                    count:(NSUInteger)len;
@end

typedef double NSTimeInterval;
typedef CGPoint NSPoint;
typedef CGSize NSSize;
typedef CGRect NSRect;
NSPoint NSMakePoint(CGFloat x, CGFloat y);
NSSize NSMakeSize(CGFloat w, CGFloat h);
NSRect NSMakeRect(CGFloat x, CGFloat y, CGFloat w, CGFloat h);
CGFloat NSMidY(NSRect aRect);
typedef struct NSEdgeInsets {
  CGFloat top;
  CGFloat left;
  CGFloat bottom;
  CGFloat right;
} NSEdgeInsets;
NSEdgeInsets NSEdgeInsetsMake(CGFloat top, CGFloat left, CGFloat bottom, CGFloat right);
extern const NSRect NSZeroRect;

typedef unsigned short unichar;
typedef NSUInteger NSStringEncoding;
enum { NSUTF8StringEncoding = 4 };

@interface NSString : NSObject <NSCopying>
@property(readonly) NSUInteger length;
@property(readonly) const char *UTF8String;
+ (instancetype)stringWithCharacters:(const unichar *)characters length:(NSUInteger)length;
- (NSString *)stringByAppendingPathComponent:(NSString *)str;
- (instancetype)initWithBytes:(const void *)bytes
                       length:(NSUInteger)len
                     encoding:(NSStringEncoding)encoding;
@end

@interface NSNumber : NSObject <NSCopying>
+ (NSNumber *)numberWithBool:(BOOL)value;
+ (NSNumber *)numberWithLongLong:(long long)value;
+ (NSNumber *)numberWithDouble:(double)value;
@property(readonly) BOOL boolValue;
@property(readonly) long long longLongValue;
@property(readonly) double doubleValue;
@end

@interface NSData : NSObject <NSCopying>
+ (instancetype)dataWithBytes:(const void *)bytes length:(NSUInteger)length;
@property(readonly) const void *bytes;
@property(readonly) NSUInteger length;
@end

@interface NSArray<__covariant ObjectType> : NSObject <NSCopying, NSFastEnumeration>
+ (instancetype)arrayWithObjects:(const ObjectType[])objects count:(NSUInteger)cnt;
+ (instancetype)arrayWithObject:(ObjectType)anObject;
@property(readonly) NSUInteger count;
@property(readonly) ObjectType firstObject;
- (ObjectType)objectAtIndexedSubscript:(NSUInteger)idx;
@end

@interface NSMutableArray<ObjectType> : NSArray <ObjectType>
+ (instancetype)array;
- (void)addObject:(ObjectType)anObject;
@end

@interface NSDictionary<__covariant KeyType, __covariant ObjectType> : NSObject <NSCopying>
- (ObjectType)objectForKeyedSubscript:(KeyType)key;
@end

@interface NSMutableDictionary<KeyType, ObjectType> : NSDictionary <KeyType, ObjectType>
- (void)setObject:(ObjectType)obj forKeyedSubscript:(KeyType<NSCopying>)key;
@end

typedef NSString *NSExceptionName;
@interface NSException : NSObject <NSCopying>
@property(readonly, copy) NSExceptionName name;
@property(readonly, copy) NSString *reason;
@end

@interface NSError : NSObject
@property(readonly) NSInteger code;
@property(readonly, copy) NSString *localizedDescription;
@end

@interface NSURL : NSObject <NSCopying>
+ (instancetype)URLWithString:(NSString *)URLString;
+ (NSURL *)fileURLWithPath:(NSString *)path;
+ (NSURL *)fileURLWithPath:(NSString *)path isDirectory:(BOOL)isDirectory;
@property(readonly, copy) NSString *path;
@end

@interface NSLocale : NSObject <NSCopying>
+ (instancetype)localeWithLocaleIdentifier:(NSString *)ident;
@property(readonly, copy) NSString *localeIdentifier;
@end

typedef NS_ENUM(NSUInteger, NSSearchPathDirectory){
    NSApplicationSupportDirectory = 14,
};
typedef NS_OPTIONS(NSUInteger, NSSearchPathDomainMask){
    NSUserDomainMask = 1,
};

@interface NSFileManager : NSObject
@property(class, readonly, strong) NSFileManager *defaultManager;
- (NSArray<NSURL *> *)URLsForDirectory:(NSSearchPathDirectory)directory
                             inDomains:(NSSearchPathDomainMask)domainMask;
@end

Class NSClassFromString(NSString *aClassName);
SEL NSSelectorFromString(NSString *aSelectorName);
NSString *NSHomeDirectory(void);
NSString *NSTemporaryDirectory(void);

@interface NSBundle : NSObject
@property(class, readonly, strong) NSBundle *mainBundle;
+ (instancetype)bundleWithPath:(NSString *)path;
- (BOOL)loadAndReturnError:(NSError **)error;
@property(readonly, copy) NSString *privateFrameworksPath;
- (id)objectForInfoDictionaryKey:(NSString *)key;
@property(readonly, copy) NSString *bundleIdentifier;
@property(readonly, copy) NSString *resourcePath;
@end

@interface NSProcessInfo : NSObject
@property(class, readonly, strong) NSProcessInfo *processInfo;
@property(readonly) int processIdentifier;
@property(readonly, copy) NSDictionary<NSString *, NSString *> *environment;
@property(readonly, copy) NSString *operatingSystemVersionString;
@end

@interface NSFileHandle : NSObject
@property(class, readonly, strong) NSFileHandle *fileHandleWithNullDevice;
- (instancetype)initWithFileDescriptor:(int)fd closeOnDealloc:(BOOL)closeopt;
@end

@interface NSTask : NSObject
@property(copy) NSURL *executableURL;
@property(copy) NSArray<NSString *> *arguments;
@property(copy) NSDictionary<NSString *, NSString *> *environment;
@property(copy) NSURL *currentDirectoryURL;
@property(strong) id standardInput;
@property(strong) id standardOutput;
@property(strong) id standardError;
@property(readonly) int processIdentifier;
@property(readonly, getter=isRunning) BOOL running;
@property(readonly) int terminationStatus;
- (BOOL)launchAndReturnError:(NSError **)error;
@end

@interface NSUserDefaults : NSObject
@property(class, readonly, strong) NSUserDefaults *standardUserDefaults;
- (id)objectForKey:(NSString *)defaultName;
- (void)setObject:(id)value forKey:(NSString *)defaultName;
- (void)removeObjectForKey:(NSString *)defaultName;
@end

@interface NSThread : NSObject
@property(class, readonly) BOOL isMainThread;
@end

@interface NSTimer : NSObject
+ (NSTimer *)timerWithTimeInterval:(NSTimeInterval)interval
                           repeats:(BOOL)repeats
                             block:(void (^)(NSTimer *timer))block;
@end

@interface NSOperationQueue : NSObject
@property(class, readonly, strong) NSOperationQueue *mainQueue;
@end

typedef NSString *NSNotificationName;
@interface NSNotification : NSObject <NSCopying>
@property(readonly, copy) NSNotificationName name;
@property(readonly, retain) id object;
@property(readonly, copy) NSDictionary *userInfo;
@end

@interface NSNotificationCenter : NSObject
@property(class, readonly, strong) NSNotificationCenter *defaultCenter;
- (id<NSObject>)addObserverForName:(NSNotificationName)name
                            object:(id)obj
                             queue:(NSOperationQueue *)queue
                        usingBlock:(void (^)(NSNotification *notification))block;
- (void)removeObserver:(id)observer;
@end

#endif

// ---------------------------------------------------------------------------------------------
// QuartzCore (Core Animation)
#if defined(SLV_WANT_QUARTZCORE) && !defined(SLV_STUB_QUARTZCORE)
#define SLV_STUB_QUARTZCORE

@interface CALayer : NSObject
+ (instancetype)layer;
@property CGRect frame;
@property CGRect bounds;
@property CGFloat cornerRadius;
@property BOOL masksToBounds;
@property CGColorRef backgroundColor;
@property CGFloat borderWidth;
@property CGColorRef borderColor;
@property float opacity;
- (void)addSublayer:(CALayer *)layer;
@end

@interface CATransaction : NSObject
+ (void)begin;
+ (void)commit;
+ (void)setDisableActions:(BOOL)flag;
@end

CFTimeInterval CACurrentMediaTime(void);

#endif

// ---------------------------------------------------------------------------------------------
// ApplicationServices: the accessibility API (HIServices).
#if defined(SLV_WANT_HISERVICES) && !defined(SLV_STUB_HISERVICES)
#define SLV_STUB_HISERVICES

Boolean AXIsProcessTrusted(void);

typedef const struct __AXUIElement *AXUIElementRef;
typedef CF_ENUM(int32_t, AXError){
    kAXErrorSuccess = 0,
};
CFTypeID AXUIElementGetTypeID(void);
AXUIElementRef AXUIElementCreateApplication(pid_t pid);
AXError AXUIElementCopyAttributeValue(AXUIElementRef element, CFStringRef attribute,
                                      CFTypeRef *value);
AXError AXUIElementSetAttributeValue(AXUIElementRef element, CFStringRef attribute,
                                     CFTypeRef value);
AXError AXUIElementPerformAction(AXUIElementRef element, CFStringRef action);
#define kAXFocusedUIElementAttribute CFSTR("AXFocusedUIElement")
#define kAXWindowAttribute CFSTR("AXWindow")
#define kAXRaiseAction CFSTR("AXRaise")

#endif

// ---------------------------------------------------------------------------------------------
// AppKit
#if defined(SLV_WANT_APPKIT) && !defined(SLV_STUB_APPKIT)
#define SLV_STUB_APPKIT

@class CALayer, NSWindow;

@interface NSAppearance : NSObject
+ (NSAppearance *)appearanceNamed:(NSString *)name;
@end
typedef NSString *NSAppearanceName;
extern NSAppearanceName const NSAppearanceNameDarkAqua;

@interface NSColor : NSObject <NSCopying>
@property(class, strong, readonly) NSColor *clearColor;
@property(class, strong, readonly) NSColor *blackColor;
@property(class, strong, readonly) NSColor *systemRedColor;
@property(class, strong, readonly) NSColor *systemOrangeColor;
@property(class, strong, readonly) NSColor *systemBlueColor;
@property(class, strong, readonly) NSColor *controlAccentColor;
@property(class, strong, readonly) NSColor *secondaryLabelColor;
+ (NSColor *)colorWithSRGBRed:(CGFloat)red
                        green:(CGFloat)green
                         blue:(CGFloat)blue
                        alpha:(CGFloat)alpha;
@property(readonly) CGColorRef CGColor;
@end

typedef CGFloat NSFontWeight;
extern const NSFontWeight NSFontWeightRegular;
extern const NSFontWeight NSFontWeightSemibold;
@interface NSFont : NSObject <NSCopying>
+ (NSFont *)systemFontOfSize:(CGFloat)fontSize;
+ (NSFont *)systemFontOfSize:(CGFloat)fontSize weight:(NSFontWeight)weight;
+ (NSFont *)monospacedSystemFontOfSize:(CGFloat)fontSize weight:(NSFontWeight)weight;
@end

@interface NSImage : NSObject <NSCopying>
+ (instancetype)imageWithSize:(NSSize)size
                      flipped:(BOOL)drawingHandlerShouldBeCalledWithFlippedContext
               drawingHandler:(BOOL (^)(NSRect dstRect))drawingHandler;
// "template" is a C++ keyword, so Objective-C++ reaches the property through its setter.
- (void)setTemplate:(BOOL)isTemplate;
+ (instancetype)imageWithSystemSymbolName:(NSString *)name
                 accessibilityDescription:(NSString *)description;
@end

typedef NS_OPTIONS(NSUInteger, NSEventModifierFlags){
    NSEventModifierFlagShift = 1 << 17,
    NSEventModifierFlagControl = 1 << 18,
    NSEventModifierFlagOption = 1 << 19,
    NSEventModifierFlagCommand = 1 << 20,
    NSEventModifierFlagDeviceIndependentFlagsMask = 0xffff0000UL,
};
typedef NS_OPTIONS(unsigned long long, NSEventMask){
    NSEventMaskKeyDown = 1ULL << 10,
};

@interface NSGraphicsContext : NSObject
@property(class, strong) NSGraphicsContext *currentContext;
@property(readonly) CGContextRef CGContext;
@end

@interface NSEvent : NSObject <NSCopying>
@property(class, readonly) NSPoint mouseLocation;
@property(readonly) unsigned short keyCode;
@property(readonly) NSEventModifierFlags modifierFlags;
+ (id)addLocalMonitorForEventsMatchingMask:(NSEventMask)mask
                                   handler:(NSEvent * (^)(NSEvent *event))block;
+ (void)removeMonitor:(id)eventMonitor;
@end


@class NSMenu;
@interface NSMenuItem : NSObject <NSCopying>
+ (NSMenuItem *)separatorItem;
- (instancetype)initWithTitle:(NSString *)string
                       action:(SEL)selector
                keyEquivalent:(NSString *)charCode;
@property(weak) id target;
@property SEL action;
@property NSInteger tag;
@property(strong) id representedObject;
@property(strong) NSMenu *submenu;
@property NSEventModifierFlags keyEquivalentModifierMask;
@end

@protocol NSMenuDelegate <NSObject>
@optional
- (void)menuNeedsUpdate:(NSMenu *)menu;
@end

@interface NSMenu : NSObject <NSCopying>
- (instancetype)initWithTitle:(NSString *)title;
- (void)addItem:(NSMenuItem *)newItem;
- (void)removeAllItems;
@property(weak) id<NSMenuDelegate> delegate;
@end

@interface NSResponder : NSObject
@property(readonly) BOOL acceptsFirstResponder;
- (void)mouseDown:(NSEvent *)event;
- (void)mouseDragged:(NSEvent *)event;
- (void)mouseUp:(NSEvent *)event;
@end

typedef NS_OPTIONS(NSUInteger, NSAutoresizingMaskOptions){
    NSViewWidthSizable = 2,
    NSViewHeightSizable = 16,
};

typedef NS_ENUM(NSInteger, NSLayoutAttribute){
    NSLayoutAttributeLeading = 5,
    NSLayoutAttributeCenterY = 10,
};
typedef NS_ENUM(NSInteger, NSUserInterfaceLayoutOrientation){
    NSUserInterfaceLayoutOrientationHorizontal = 0,
    NSUserInterfaceLayoutOrientationVertical = 1,
};

@interface NSLayoutConstraint : NSObject
+ (void)activateConstraints:(NSArray<NSLayoutConstraint *> *)constraints;
@property(getter=isActive) BOOL active;
@end

@interface NSLayoutAnchor<AnchorType> : NSObject <NSCopying>
- (NSLayoutConstraint *)constraintEqualToAnchor:(NSLayoutAnchor<AnchorType> *)anchor;
- (NSLayoutConstraint *)constraintEqualToAnchor:(NSLayoutAnchor<AnchorType> *)anchor
                                       constant:(CGFloat)c;
- (NSLayoutConstraint *)constraintLessThanOrEqualToAnchor:(NSLayoutAnchor<AnchorType> *)anchor;
- (NSLayoutConstraint *)constraintGreaterThanOrEqualToAnchor:(NSLayoutAnchor<AnchorType> *)anchor
                                                    constant:(CGFloat)c;
@end
@class NSLayoutXAxisAnchor, NSLayoutYAxisAnchor, NSLayoutDimension;
@interface NSLayoutXAxisAnchor : NSLayoutAnchor <NSLayoutXAxisAnchor *>
@end
@interface NSLayoutYAxisAnchor : NSLayoutAnchor <NSLayoutYAxisAnchor *>
@end
@interface NSLayoutDimension : NSLayoutAnchor <NSLayoutDimension *>
- (NSLayoutConstraint *)constraintEqualToConstant:(CGFloat)c;
- (NSLayoutConstraint *)constraintGreaterThanOrEqualToConstant:(CGFloat)c;
@end

typedef NSString *NSUserInterfaceItemIdentifier;
@protocol NSUserInterfaceItemIdentification
@property(copy) NSUserInterfaceItemIdentifier identifier;
@end

@interface NSView : NSResponder <NSUserInterfaceItemIdentification>
- (instancetype)initWithFrame:(NSRect)frameRect;
@property NSRect frame;
@property NSRect bounds;
@property BOOL wantsLayer;
@property(strong) CALayer *layer;
@property(getter=isHidden) BOOL hidden;
@property NSAutoresizingMaskOptions autoresizingMask;
@property BOOL translatesAutoresizingMaskIntoConstraints;
@property(readonly) NSSize fittingSize;
@property(readonly) NSSize intrinsicContentSize;
@property(readonly, strong) NSLayoutXAxisAnchor *leadingAnchor;
@property(readonly, strong) NSLayoutXAxisAnchor *trailingAnchor;
@property(readonly, strong) NSLayoutYAxisAnchor *topAnchor;
@property(readonly, strong) NSLayoutYAxisAnchor *bottomAnchor;
@property(readonly, strong) NSLayoutXAxisAnchor *centerXAnchor;
@property(readonly, strong) NSLayoutYAxisAnchor *centerYAnchor;
@property(readonly, strong) NSLayoutDimension *widthAnchor;
@property(readonly, strong) NSLayoutDimension *heightAnchor;
@property(readonly, assign) NSWindow *window;
@property(copy) NSString *toolTip;
- (void)addSubview:(NSView *)view;
- (void)removeFromSuperview;
- (void)layout;
- (void)layoutSubtreeIfNeeded;
- (void)invalidateIntrinsicContentSize;
- (BOOL)acceptsFirstMouse:(NSEvent *)event;
@end

@interface NSControl : NSView
@property NSInteger tag;
@property(weak) id target;
@property SEL action;
@property(getter=isEnabled) BOOL enabled;
@property(copy) NSString *stringValue;
@property NSInteger integerValue;
@property(strong) NSFont *font;
@end

@protocol NSControlTextEditingDelegate <NSObject>
@optional
- (void)controlTextDidEndEditing:(NSNotification *)obj;
- (void)controlTextDidChange:(NSNotification *)obj;
@end

@protocol NSTextFieldDelegate <NSControlTextEditingDelegate>
@end

@interface NSTextField : NSControl
+ (instancetype)labelWithString:(NSString *)stringValue;
+ (instancetype)wrappingLabelWithString:(NSString *)stringValue;
+ (instancetype)textFieldWithString:(NSString *)stringValue;
@property(copy) NSColor *textColor;
@property(copy) NSString *placeholderString;
@property(getter=isEditable) BOOL editable;
@property(weak) id<NSTextFieldDelegate> delegate;
@end

@protocol NSTextDelegate <NSObject>
@optional
- (void)textDidChange:(NSNotification *)notification;
@end

@interface NSText : NSView
@property(copy) NSString *string;
@property(getter=isEditable) BOOL editable;
@property(getter=isRichText) BOOL richText;
@property(strong) NSFont *font;
@property(weak) id<NSTextDelegate> delegate;
@end

@protocol NSTextViewDelegate <NSTextDelegate>
@end

@class NSScrollView;
@interface NSTextView : NSText
+ (NSScrollView *)scrollableTextView;
@end

typedef NS_ENUM(NSUInteger, NSBorderType){
    NSBezelBorder = 2,
};

@interface NSClipView : NSView
@end

@interface NSScrollView : NSView
@property(strong) NSClipView *contentView;
@property BOOL drawsBackground;
@property BOOL hasVerticalScroller;
@property NSBorderType borderType;
@property(strong) __kindof NSView *documentView;
@end

typedef NS_ENUM(NSUInteger, NSSegmentSwitchTracking){
    NSSegmentSwitchTrackingSelectOne = 0,
};

@interface NSSegmentedControl : NSControl
+ (instancetype)segmentedControlWithLabels:(NSArray<NSString *> *)labels
                              trackingMode:(NSSegmentSwitchTracking)trackingMode
                                    target:(id)target
                                    action:(SEL)action;
@property NSInteger selectedSegment;
@end

@interface NSImageView : NSControl
@property(strong) NSImage *image;
@property(copy) NSColor *contentTintColor;
@end

typedef NSInteger NSControlStateValue;
static const NSControlStateValue NSControlStateValueOff = 0;
static const NSControlStateValue NSControlStateValueOn = 1;

typedef NS_ENUM(NSUInteger, NSBezelStyle){
    NSBezelStyleDisclosure = 5,
};
typedef NS_ENUM(NSUInteger, NSButtonType){
    NSButtonTypePushOnPushOff = 1,
};

@interface NSButton : NSControl
+ (instancetype)buttonWithTitle:(NSString *)title target:(id)target action:(SEL)action;
+ (instancetype)checkboxWithTitle:(NSString *)title target:(id)target action:(SEL)action;
+ (instancetype)radioButtonWithTitle:(NSString *)title target:(id)target action:(SEL)action;
@property(copy) NSString *title;
@property(strong) NSImage *image;
@property NSControlStateValue state;
@property NSBezelStyle bezelStyle;
@property(copy) NSString *keyEquivalent;
@property NSEventModifierFlags keyEquivalentModifierMask;
- (void)setButtonType:(NSButtonType)type;
@end

@interface NSStatusBarButton : NSButton
@end

@interface NSPopUpButton : NSButton
- (instancetype)initWithFrame:(NSRect)buttonFrame pullsDown:(BOOL)flag;
- (void)addItemWithTitle:(NSString *)title;
- (void)selectItem:(NSMenuItem *)item;
@property(readonly, strong) NSMenuItem *lastItem;
@property(readonly, strong) NSMenuItem *selectedItem;
@end

@interface NSStepper : NSControl
@property double minValue;
@property double maxValue;
@property double increment;
@end

typedef NS_ENUM(NSUInteger, NSProgressIndicatorStyle){
    NSProgressIndicatorStyleBar = 0,
};
@interface NSProgressIndicator : NSView
@property NSProgressIndicatorStyle style;
@property(getter=isIndeterminate) BOOL indeterminate;
@property double minValue;
@property double maxValue;
@property double doubleValue;
- (void)startAnimation:(id)sender;
@end

@class NSStatusItem;
static const CGFloat NSVariableStatusItemLength = -1;
@interface NSStatusBar : NSObject
@property(class, readonly, strong) NSStatusBar *systemStatusBar;
- (NSStatusItem *)statusItemWithLength:(CGFloat)length;
@end

@interface NSStatusItem : NSObject
@property(readonly, strong) NSStatusBarButton *button;
@property(strong) NSMenu *menu;
@end

@interface NSStackView : NSView
+ (instancetype)stackViewWithViews:(NSArray<NSView *> *)views;
- (void)addArrangedSubview:(NSView *)view;
@property(readonly, copy) NSArray<__kindof NSView *> *arrangedSubviews;
@property NSEdgeInsets edgeInsets;
@property NSUserInterfaceLayoutOrientation orientation;
@property NSLayoutAttribute alignment;
@property CGFloat spacing;
@end

typedef NS_ENUM(NSInteger, NSVisualEffectMaterial){
    NSVisualEffectMaterialPopover = 6,
    NSVisualEffectMaterialHUDWindow = 13,
};
typedef NS_ENUM(NSInteger, NSVisualEffectBlendingMode){
    NSVisualEffectBlendingModeBehindWindow = 0,
};
typedef NS_ENUM(NSInteger, NSVisualEffectState){
    NSVisualEffectStateActive = 1,
};
@interface NSVisualEffectView : NSView
@property NSVisualEffectMaterial material;
@property NSVisualEffectBlendingMode blendingMode;
@property NSVisualEffectState state;
@end

typedef NS_OPTIONS(NSUInteger, NSWindowStyleMask){
    NSWindowStyleMaskTitled = 1 << 0,
    NSWindowStyleMaskClosable = 1 << 1,
    NSWindowStyleMaskMiniaturizable = 1 << 2,
    NSWindowStyleMaskResizable = 1 << 3,
    NSWindowStyleMaskNonactivatingPanel = 1 << 7,
};
typedef NS_ENUM(NSUInteger, NSBackingStoreType){
    NSBackingStoreBuffered = 2,
};
typedef NS_OPTIONS(NSUInteger, NSWindowCollectionBehavior){
    NSWindowCollectionBehaviorCanJoinAllSpaces = 1 << 0,
    NSWindowCollectionBehaviorStationary = 1 << 4,
    NSWindowCollectionBehaviorIgnoresCycle = 1 << 6,
    NSWindowCollectionBehaviorFullScreenAuxiliary = 1 << 8,
};
@protocol NSWindowDelegate <NSObject>
@optional
- (void)windowWillClose:(NSNotification *)notification;
@end

typedef NSInteger NSWindowLevel;
static const NSWindowLevel NSFloatingWindowLevel = 3;
extern NSNotificationName const NSWindowDidMoveNotification;

@interface NSWindow : NSResponder
- (instancetype)initWithContentRect:(NSRect)contentRect
                          styleMask:(NSWindowStyleMask)style
                            backing:(NSBackingStoreType)backingStoreType
                              defer:(BOOL)flag;
@property(getter=isOpaque) BOOL opaque;
@property(copy) NSColor *backgroundColor;
@property BOOL hasShadow;
@property NSWindowLevel level;
@property NSWindowCollectionBehavior collectionBehavior;
@property BOOL hidesOnDeactivate;
@property(getter=isMovableByWindowBackground) BOOL movableByWindowBackground;
@property(getter=isReleasedWhenClosed) BOOL releasedWhenClosed;
@property(strong) __kindof NSView *contentView;
@property(readonly) NSRect frame;
@property(readonly, getter=isVisible) BOOL visible;
@property(strong) NSAppearance *appearance;
@property(readonly) BOOL canBecomeKeyWindow;
@property(readonly) BOOL canBecomeMainWindow;
@property(copy) NSString *title;
@property(weak) id<NSWindowDelegate> delegate;
- (void)center;
- (void)makeKeyAndOrderFront:(id)sender;
- (void)performClose:(id)sender;
- (void)close;
- (void)setFrame:(NSRect)frameRect display:(BOOL)flag;
- (void)setFrameOrigin:(NSPoint)point;
- (void)orderFrontRegardless;
- (void)orderOut:(id)sender;
@end

@interface NSPanel : NSWindow
@end

@interface NSScreen : NSObject
@property(class, readonly, copy) NSArray<NSScreen *> *screens;
@property(class, readonly, strong) NSScreen *mainScreen;
@property(readonly) NSRect frame;
@property(readonly) NSRect visibleFrame;
@end

@protocol NSApplicationDelegate <NSObject>
@optional
- (void)applicationDidFinishLaunching:(NSNotification *)notification;
- (void)applicationWillTerminate:(NSNotification *)notification;
@end

typedef NS_ENUM(NSInteger, NSApplicationActivationPolicy){
    NSApplicationActivationPolicyAccessory = 1,
};

@interface NSApplication : NSResponder
@property(class, readonly, strong) NSApplication *sharedApplication;
@property(weak) id<NSApplicationDelegate> delegate;
- (BOOL)setActivationPolicy:(NSApplicationActivationPolicy)activationPolicy;
- (void)run;
@property(readonly, getter=isActive) BOOL active;
@property(readonly, weak) NSWindow *keyWindow;
@property(strong) NSMenu *mainMenu;
- (void)activateIgnoringOtherApps:(BOOL)flag;
- (void)orderFrontStandardAboutPanel:(id)sender;
- (void)hide:(id)sender;
- (void)terminate:(id)sender;
@end

typedef NS_OPTIONS(NSUInteger, NSApplicationActivationOptions){
    NSApplicationActivateIgnoringOtherApps = 1 << 1,
};

@interface NSRunningApplication : NSObject
+ (instancetype)runningApplicationWithProcessIdentifier:(pid_t)pid;
+ (NSArray<NSRunningApplication *> *)runningApplicationsWithBundleIdentifier:
    (NSString *)bundleIdentifier;
@property(readonly) pid_t processIdentifier;
@property(readonly, copy) NSString *bundleIdentifier;
@property(readonly, copy) NSString *localizedName;
@property(readonly, getter=isTerminated) BOOL terminated;
- (BOOL)activateWithOptions:(NSApplicationActivationOptions)options;
@end

extern NSNotificationName const NSWorkspaceDidActivateApplicationNotification;
extern NSString *const NSWorkspaceApplicationKey;

@interface NSWorkspace : NSObject
@property(class, readonly, strong) NSWorkspace *sharedWorkspace;
@property(readonly, strong) NSNotificationCenter *notificationCenter;
@property(readonly, strong) NSRunningApplication *frontmostApplication;
@property(readonly, copy) NSArray<NSRunningApplication *> *runningApplications;
- (BOOL)openURL:(NSURL *)url;
@end

typedef NSString *NSPasteboardType;
extern NSPasteboardType const NSPasteboardTypeString;
@protocol NSPasteboardWriting <NSObject>
@end
@interface NSPasteboardItem : NSObject <NSPasteboardWriting>
@property(readonly, copy) NSArray<NSPasteboardType> *types;
- (BOOL)setData:(NSData *)data forType:(NSPasteboardType)type;
- (NSData *)dataForType:(NSPasteboardType)type;
@end
@interface NSPasteboard : NSObject
@property(class, readonly, strong) NSPasteboard *generalPasteboard;
@property(readonly, copy) NSArray<NSPasteboardItem *> *pasteboardItems;
- (NSInteger)clearContents;
- (BOOL)setString:(NSString *)string forType:(NSPasteboardType)dataType;
- (BOOL)writeObjects:(NSArray<id<NSPasteboardWriting>> *)objects;
- (NSString *)stringForType:(NSPasteboardType)dataType;
@end

#endif

// ---------------------------------------------------------------------------------------------
// AVFAudio
#if defined(SLV_WANT_AVFAUDIO) && !defined(SLV_STUB_AVFAUDIO)
#define SLV_STUB_AVFAUDIO

typedef uint32_t AVAudioFrameCount;
typedef uint32_t AVAudioPacketCount;
typedef uint32_t AVAudioChannelCount;
typedef NSUInteger AVAudioNodeBus;

@interface AVAudioFormat : NSObject
- (instancetype)initStandardFormatWithSampleRate:(double)sampleRate
                                        channels:(AVAudioChannelCount)channels;
@property(readonly) double sampleRate;
@property(readonly) AVAudioChannelCount channelCount;
@property(readonly, getter=isInterleaved) BOOL interleaved;
@end

@interface AVAudioBuffer : NSObject <NSCopying>
@property(readonly) AVAudioFormat *format;
@end

@interface AVAudioPCMBuffer : AVAudioBuffer
- (instancetype)initWithPCMFormat:(AVAudioFormat *)format
                    frameCapacity:(AVAudioFrameCount)frameCapacity;
@property(readonly) AVAudioFrameCount frameCapacity;
@property AVAudioFrameCount frameLength;
@property(readonly) NSUInteger stride;
@property(readonly) float *const *floatChannelData;
@end

@interface AVAudioTime : NSObject
@end

typedef void (^AVAudioNodeTapBlock)(AVAudioPCMBuffer *buffer, AVAudioTime *when);

@interface AVAudioNode : NSObject
- (AVAudioFormat *)outputFormatForBus:(AVAudioNodeBus)bus;
- (void)installTapOnBus:(AVAudioNodeBus)bus
             bufferSize:(AVAudioFrameCount)bufferSize
                 format:(AVAudioFormat *)format
                  block:(AVAudioNodeTapBlock)tapBlock;
- (void)removeTapOnBus:(AVAudioNodeBus)bus;
@end

@interface AVAudioIONode : AVAudioNode
@property(nonatomic, readonly, getter=isVoiceProcessingEnabled) BOOL voiceProcessingEnabled;
- (BOOL)setVoiceProcessingEnabled:(BOOL)enabled error:(NSError **)outError;
@end

@interface AVAudioInputNode : AVAudioIONode
@end

@interface AVAudioEngine : NSObject
@property(readonly) AVAudioInputNode *inputNode;
@property(readonly, getter=isRunning) BOOL running;
- (BOOL)startAndReturnError:(NSError **)outError;
- (void)stop;
@end

extern NSString *const AVAudioEngineConfigurationChangeNotification;

typedef NS_ENUM(NSInteger, AVAudioConverterInputStatus){
    AVAudioConverterInputStatus_HaveData = 0,
    AVAudioConverterInputStatus_NoDataNow = 1,
    AVAudioConverterInputStatus_EndOfStream = 2,
};
typedef NS_ENUM(NSInteger, AVAudioConverterOutputStatus){
    AVAudioConverterOutputStatus_HaveData = 0,
    AVAudioConverterOutputStatus_Error = 3,
};
typedef AVAudioBuffer *(^AVAudioConverterInputBlock)(AVAudioPacketCount inNumberOfPackets,
                                                     AVAudioConverterInputStatus *outStatus);

@interface AVAudioConverter : NSObject
- (instancetype)initFromFormat:(AVAudioFormat *)fromFormat toFormat:(AVAudioFormat *)toFormat;
@property(nonatomic) BOOL downmix;
- (AVAudioConverterOutputStatus)convertToBuffer:(AVAudioBuffer *)outputBuffer
                                          error:(NSError **)outError
                             withInputFromBlock:(AVAudioConverterInputBlock)inputBlock;
@end

#endif

// ---------------------------------------------------------------------------------------------
// AVFoundation (capture devices and their authorisation)
#if defined(SLV_WANT_AVFOUNDATION) && !defined(SLV_STUB_AVFOUNDATION)
#define SLV_STUB_AVFOUNDATION

typedef NSString *AVMediaType;
extern AVMediaType const AVMediaTypeAudio;
typedef NS_ENUM(NSInteger, AVAuthorizationStatus){
    AVAuthorizationStatusNotDetermined = 0,
    AVAuthorizationStatusRestricted = 1,
    AVAuthorizationStatusDenied = 2,
    AVAuthorizationStatusAuthorized = 3,
};

@interface AVCaptureDevice : NSObject
+ (AVCaptureDevice *)defaultDeviceWithMediaType:(AVMediaType)mediaType;
@property(readonly) NSString *localizedName;
+ (AVAuthorizationStatus)authorizationStatusForMediaType:(AVMediaType)mediaType;
+ (void)requestAccessForMediaType:(AVMediaType)mediaType
                completionHandler:(void (^)(BOOL granted))handler;
@end

#endif

// ---------------------------------------------------------------------------------------------
// Speech
#if defined(SLV_WANT_SPEECH) && !defined(SLV_STUB_SPEECH)
#define SLV_STUB_SPEECH

typedef NS_ENUM(NSInteger, SFSpeechRecognizerAuthorizationStatus){
    SFSpeechRecognizerAuthorizationStatusNotDetermined = 0,
    SFSpeechRecognizerAuthorizationStatusDenied = 1,
    SFSpeechRecognizerAuthorizationStatusRestricted = 2,
    SFSpeechRecognizerAuthorizationStatusAuthorized = 3,
};

typedef NS_ENUM(NSInteger, SFSpeechRecognitionTaskHint){
    SFSpeechRecognitionTaskHintUnspecified = 0,
    SFSpeechRecognitionTaskHintDictation = 1,
};

@interface SFSpeechRecognitionRequest : NSObject
@property(nonatomic) SFSpeechRecognitionTaskHint taskHint;
@property(nonatomic) BOOL shouldReportPartialResults;
@property(nonatomic) BOOL requiresOnDeviceRecognition;
@end

@interface SFSpeechAudioBufferRecognitionRequest : SFSpeechRecognitionRequest
- (void)appendAudioPCMBuffer:(AVAudioPCMBuffer *)audioPCMBuffer;
- (void)endAudio;
@end

@interface SFTranscription : NSObject <NSCopying>
@property(nonatomic, readonly, copy) NSString *formattedString;
@end

@interface SFSpeechRecognitionResult : NSObject <NSCopying>
@property(nonatomic, readonly, copy) SFTranscription *bestTranscription;
@property(nonatomic, readonly, getter=isFinal) BOOL final;
@end

@interface SFSpeechRecognitionTask : NSObject
- (void)cancel;
@end

@interface SFSpeechRecognizer : NSObject
+ (SFSpeechRecognizerAuthorizationStatus)authorizationStatus;
+ (void)requestAuthorization:(void (^)(SFSpeechRecognizerAuthorizationStatus status))handler;
- (instancetype)initWithLocale:(NSLocale *)locale;
@property(nonatomic, readonly, copy) NSLocale *locale;
@property(nonatomic) BOOL supportsOnDeviceRecognition;
- (SFSpeechRecognitionTask *)
    recognitionTaskWithRequest:(SFSpeechRecognitionRequest *)request
                 resultHandler:(void (^)(SFSpeechRecognitionResult *result,
                                         NSError *error))resultHandler;
@end

#endif

// ---------------------------------------------------------------------------------------------
// Accelerate (vDSP)
#if defined(SLV_WANT_ACCELERATE) && !defined(SLV_STUB_ACCELERATE)
#define SLV_STUB_ACCELERATE

typedef unsigned long vDSP_Length;
typedef long vDSP_Stride;
typedef struct DSPComplex {
  float real;
  float imag;
} DSPComplex;
typedef struct DSPSplitComplex {
  float *realp;
  float *imagp;
} DSPSplitComplex;
typedef struct OpaqueFFTSetup *FFTSetup;
typedef int FFTDirection;
typedef int FFTRadix;
enum { kFFTDirection_Forward = +1 };
enum { kFFTRadix2 = 0 };
enum { vDSP_HANN_NORM = 2 };

FFTSetup vDSP_create_fftsetup(vDSP_Length __Log2n, FFTRadix __Radix);
void vDSP_destroy_fftsetup(FFTSetup __setup);
void vDSP_ctoz(const DSPComplex *__C, vDSP_Stride __IC, const DSPSplitComplex *__Z,
               vDSP_Stride __IZ, vDSP_Length __N);
void vDSP_fft_zrip(FFTSetup __Setup, const DSPSplitComplex *__C, vDSP_Stride __IC,
                   vDSP_Length __Log2N, FFTDirection __Direction);
void vDSP_hann_window(float *__C, vDSP_Length __N, int __Flag);
void vDSP_rmsqv(const float *__A, vDSP_Stride __IA, float *__C, vDSP_Length __N);
void vDSP_vmul(const float *__A, vDSP_Stride __IA, const float *__B, vDSP_Stride __IB, float *__C,
               vDSP_Stride __IC, vDSP_Length __N);
void vDSP_zvabs(const DSPSplitComplex *__A, vDSP_Stride __IA, float *__C, vDSP_Stride __IC,
                vDSP_Length __N);

#endif

// ---------------------------------------------------------------------------------------------
// Security (code signing)
#if defined(SLV_WANT_SECURITY) && !defined(SLV_STUB_SECURITY)
#define SLV_STUB_SECURITY

typedef struct __SecCode *SecCodeRef;
typedef const struct __SecCode *SecStaticCodeRef;
typedef struct __SecRequirement *SecRequirementRef;
typedef CF_OPTIONS(uint32_t, SecCSFlags){
    kSecCSDefaultFlags = 0,
};
enum { errSecSuccess = 0 };

OSStatus SecCodeCopySelf(SecCSFlags flags, SecCodeRef *self);
OSStatus SecCodeCopyStaticCode(SecCodeRef code, SecCSFlags flags, SecStaticCodeRef *staticCode);
OSStatus SecCodeCopyDesignatedRequirement(SecStaticCodeRef code, SecCSFlags flags,
                                          SecRequirementRef *requirement);
OSStatus SecRequirementCopyString(SecRequirementRef requirement, SecCSFlags flags,
                                  CFStringRef *text);

#endif

// ---------------------------------------------------------------------------------------------
// Carbon: text input sources (HIToolbox) and Unicode key translation (CarbonCore).
#if defined(SLV_WANT_CARBON) && !defined(SLV_STUB_CARBON)
#define SLV_STUB_CARBON

typedef struct __TISInputSource *TISInputSourceRef;
extern const CFStringRef kTISPropertyUnicodeKeyLayoutData;
TISInputSourceRef TISCopyCurrentKeyboardLayoutInputSource(void);
void *TISGetInputSourceProperty(TISInputSourceRef inputSource, CFStringRef propertyKey);
UInt8 LMGetKbdType(void);

typedef struct UCKeyboardLayout UCKeyboardLayout;
enum {
  kUCKeyActionDisplay = 3,
};
enum { kUCKeyTranslateNoDeadKeysBit = 0 };
enum { kUCKeyTranslateNoDeadKeysMask = 1UL << kUCKeyTranslateNoDeadKeysBit };
OSStatus UCKeyTranslate(const UCKeyboardLayout *keyLayoutPtr, UInt16 virtualKeyCode,
                        UInt16 keyAction, UInt32 modifierKeyState, UInt32 keyboardType,
                        OptionBits keyTranslateOptions, UInt32 *deadKeyState,
                        UniCharCount maxStringLength, UniCharCount *actualStringLength,
                        UniChar unicodeString[]);

#endif

// ---------------------------------------------------------------------------------------------
// ServiceManagement
#if defined(SLV_WANT_SERVICEMANAGEMENT) && !defined(SLV_STUB_SERVICEMANAGEMENT)
#define SLV_STUB_SERVICEMANAGEMENT

typedef NS_ENUM(NSInteger, SMAppServiceStatus){
    SMAppServiceStatusEnabled = 1,
};

@interface SMAppService : NSObject
@property(class, nonatomic, readonly) SMAppService *mainAppService;
@property(nonatomic, readonly) SMAppServiceStatus status;
- (BOOL)registerAndReturnError:(NSError **)error;
- (BOOL)unregisterAndReturnError:(NSError **)error;
@end

#endif

// ---------------------------------------------------------------------------------------------
// ImageIO
#if defined(SLV_WANT_IMAGEIO) && !defined(SLV_STUB_IMAGEIO)
#define SLV_STUB_IMAGEIO

typedef struct CGImageDestination *CGImageDestinationRef;
CGImageDestinationRef CGImageDestinationCreateWithURL(CFURLRef url, CFStringRef type, size_t count,
                                                      CFDictionaryRef options);
void CGImageDestinationAddImage(CGImageDestinationRef idst, CGImageRef image,
                                CFDictionaryRef properties);
bool CGImageDestinationFinalize(CGImageDestinationRef idst);

#endif
