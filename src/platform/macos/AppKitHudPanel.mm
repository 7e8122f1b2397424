#include "platform/macos/AppKitHudPanel.h"

#include "platform/macos/CocoaGeometry.h"
#import "platform/macos/PillView.h"

#import <AppKit/AppKit.h>
#import <QuartzCore/QuartzCore.h>

// A panel that never takes the keyboard focus from the application being dictated into.
@interface SLVHUDWindow : NSPanel
@end

@implementation SLVHUDWindow
- (BOOL)canBecomeKeyWindow {
  return NO;
}
- (BOOL)canBecomeMainWindow {
  return NO;
}
@end

// The panel's content view: reports mouse positions in screen coordinates to the HUD's drag
// handling.
@interface SLVDragView : NSView
- (void)setEvents:(const selvar::HudPanel::Events *)events;
@end

@implementation SLVDragView {
  const selvar::HudPanel::Events *_events;
}

- (void)setEvents:(const selvar::HudPanel::Events *)events {
  _events = events;
}

- (BOOL)acceptsFirstMouse:(NSEvent *)event {
  return YES;
}

- (BOOL)acceptsFirstResponder {
  return YES;
}

- (void)mouseDown:(NSEvent *)event {
  if (_events && _events->mouseDown) _events->mouseDown(selvar::fromNS([NSEvent mouseLocation]));
}

- (void)mouseDragged:(NSEvent *)event {
  if (_events && _events->mouseDragged)
    _events->mouseDragged(selvar::fromNS([NSEvent mouseLocation]));
}

- (void)mouseUp:(NSEvent *)event {
  if (_events && _events->mouseUp) _events->mouseUp();
}

@end

namespace selvar {

namespace {
constexpr NSRect kInitialRect{{0, 0}, {300, 60}};
constexpr CGFloat kInitialCornerRadius = 17;
} // namespace

AppKitHudPanel::AppKitHudPanel() {
  panel_ = [[SLVHUDWindow alloc] initWithContentRect:kInitialRect
                                           styleMask:NSWindowStyleMaskNonactivatingPanel
                                             backing:NSBackingStoreBuffered
                                               defer:NO];
  panel_.opaque = NO;
  panel_.backgroundColor = [NSColor clearColor];
  panel_.hasShadow = NO;
  panel_.level = NSFloatingWindowLevel;
  panel_.collectionBehavior =
      NSWindowCollectionBehaviorCanJoinAllSpaces | NSWindowCollectionBehaviorStationary |
      NSWindowCollectionBehaviorIgnoresCycle | NSWindowCollectionBehaviorFullScreenAuxiliary;
  panel_.hidesOnDeactivate = NO;
  panel_.movableByWindowBackground = YES;
  panel_.releasedWhenClosed = NO;

  dragView_ = [[SLVDragView alloc] initWithFrame:kInitialRect];
  [dragView_ setEvents:&events_];
  panel_.contentView = dragView_;

  backdrop_ = [[NSVisualEffectView alloc] initWithFrame:kInitialRect];
  backdrop_.autoresizingMask = NSViewWidthSizable | NSViewHeightSizable;
  backdrop_.material = NSVisualEffectMaterialHUDWindow;
  backdrop_.blendingMode = NSVisualEffectBlendingModeBehindWindow;
  backdrop_.state = NSVisualEffectStateActive;
  backdrop_.wantsLayer = YES;
  backdrop_.layer.cornerRadius = kInitialCornerRadius;
  backdrop_.layer.masksToBounds = YES;
  [dragView_ addSubview:backdrop_];

  moveObserver_ =
      [[NSNotificationCenter defaultCenter] addObserverForName:NSWindowDidMoveNotification
                                                        object:panel_
                                                         queue:[NSOperationQueue mainQueue]
                                                    usingBlock:^(NSNotification *) {
                                                      if (events_.moved) events_.moved();
                                                    }];
}

AppKitHudPanel::~AppKitHudPanel() {
  [[NSNotificationCenter defaultCenter] removeObserver:moveObserver_];
  [dragView_ setEvents:nullptr];
  [panel_ orderOut:nil];
}

void AppKitHudPanel::host(HUDModel &model) {
  [pill_ removeFromSuperview];
  pill_ = [[SLVPillView alloc] initWithModel:&model];
  pill_.frame = backdrop_.bounds;
  pill_.autoresizingMask = NSViewWidthSizable | NSViewHeightSizable;
  [pill_ setCornerRadius:backdrop_.layer.cornerRadius];
  [backdrop_ addSubview:pill_];
  // The model may outlive this panel (or the reverse): the subscription holds the view weakly.
  __weak SLVPillView *weakPill = pill_;
  model.subscribe([weakPill](HUDModel::Field field) { [weakPill refresh:field]; });
}

void AppKitHudPanel::setEventHandlers(Events events) {
  events_ = std::move(events);
}

Rect AppKitHudPanel::frame() const {
  return fromNS(panel_.frame);
}

void AppKitHudPanel::setFrame(Rect frame) {
  [panel_ setFrame:toNS(frame) display:YES];
}

void AppKitHudPanel::setOrigin(Point origin) {
  [panel_ setFrameOrigin:toNS(origin)];
}

Size AppKitHudPanel::fittingSize() {
  if (!pill_) return {};
  [pill_ layoutSubtreeIfNeeded];
  return fromNS(pill_.fittingSize);
}

void AppKitHudPanel::setCornerRadius(double radius) {
  backdrop_.layer.cornerRadius = radius;
  [pill_ setCornerRadius:radius];
}

void AppKitHudPanel::setBackdrop(HUDMaterial material) {
  const bool glass = material == HUDMaterial::glass;
  backdrop_.material = glass ? NSVisualEffectMaterialPopover : NSVisualEffectMaterialHUDWindow;
  backdrop_.hidden = NO;
  // The neon pill is dark whatever the system appearance; glass follows the system.
  panel_.appearance = glass ? nil : [NSAppearance appearanceNamed:NSAppearanceNameDarkAqua];
}

bool AppKitHudPanel::isVisible() const {
  return panel_.visible;
}

void AppKitHudPanel::orderFront() {
  [panel_ orderFrontRegardless];
}

void AppKitHudPanel::orderOut() {
  [panel_ orderOut:nil];
}

} // namespace selvar
