#pragma once
// The few building blocks the settings and feedback windows are made of: labels, buttons and
// text views at the text scale the user chose, full-width rows in a vertical stack, and the
// window look (dark for the neon style, the system's for glass).

#include "app/Prefs.h"
#include "platform/macos/ObjCBridge.h"

#import <AppKit/AppKit.h>

namespace selvar::WindowKit {

inline CGFloat scaled(CGFloat points) {
  return points * textScale(Prefs::windowTextSize());
}

inline NSFont *font(CGFloat points, bool bold = false) {
  return [NSFont systemFontOfSize:scaled(points)
                           weight:bold ? NSFontWeightSemibold : NSFontWeightRegular];
}

// One line, as wide as its text (titles, values, headings).
inline NSTextField *label(std::string_view text, CGFloat points = 13, bool bold = false) {
  NSTextField *field = [NSTextField labelWithString:nsString(text)];
  field.font = font(points, bold);
  return field;
}

// Text that wraps to the width it is given (help, notes, status lines).
inline NSTextField *paragraph(std::string_view text, CGFloat points = 11) {
  NSTextField *field = [NSTextField wrappingLabelWithString:nsString(text)];
  field.font = font(points);
  field.textColor = [NSColor secondaryLabelColor];
  return field;
}

inline NSTextField *secondaryLabel(std::string_view text, CGFloat points = 11) {
  NSTextField *field = label(text, points);
  field.textColor = [NSColor secondaryLabelColor];
  return field;
}

inline NSButton *button(std::string_view title, id target, SEL action) {
  NSButton *b = [NSButton buttonWithTitle:nsString(title) target:target action:action];
  b.font = font(13);
  return b;
}

inline NSButton *checkbox(std::string_view title, bool on, id target, SEL action) {
  NSButton *b = [NSButton checkboxWithTitle:nsString(title) target:target action:action];
  b.font = font(13);
  b.state = on ? NSControlStateValueOn : NSControlStateValueOff;
  return b;
}

// A scrolling plain-text view of the given height; the text view is its document view.
inline NSScrollView *textArea(CGFloat height, bool editable) {
  NSScrollView *scroll = [NSTextView scrollableTextView];
  scroll.borderType = NSBezelBorder;
  NSTextView *text = scroll.documentView;
  text.editable = editable;
  text.richText = NO;
  text.font = editable ? font(13)
                       : [NSFont monospacedSystemFontOfSize:scaled(11) weight:NSFontWeightRegular];
  [scroll.heightAnchor constraintEqualToConstant:height].active = YES;
  return scroll;
}

// Adds the view to the stack, as wide as the stack's content.
inline void addRow(NSStackView *stack, NSView *view) {
  [stack addArrangedSubview:view];
  NSEdgeInsets insets = stack.edgeInsets;
  [view.widthAnchor constraintEqualToAnchor:stack.widthAnchor
                                   constant:-(insets.left + insets.right)]
      .active = YES;
}

inline NSStackView *column(CGFloat spacing) {
  NSStackView *stack = [[NSStackView alloc] initWithFrame:NSZeroRect];
  stack.orientation = NSUserInterfaceLayoutOrientationVertical;
  stack.alignment = NSLayoutAttributeLeading;
  stack.spacing = spacing;
  return stack;
}

inline NSStackView *row(NSArray<NSView *> *views, CGFloat spacing = 8) {
  NSStackView *stack = [NSStackView stackViewWithViews:views];
  stack.orientation = NSUserInterfaceLayoutOrientationHorizontal;
  stack.alignment = NSLayoutAttributeCenterY;
  stack.spacing = spacing;
  return stack;
}

// A titled, closable, resizable window around the content view: pinned to every edge when it
// fills the window (a scroll view), else to the top and sides.
inline NSWindow *window(std::string_view title, NSView *content, NSSize size, bool fills) {
  NSWindow *w = [[NSWindow alloc]
      initWithContentRect:NSMakeRect(0, 0, size.width, size.height)
                styleMask:NSWindowStyleMaskTitled | NSWindowStyleMaskClosable |
                          NSWindowStyleMaskMiniaturizable | NSWindowStyleMaskResizable
                  backing:NSBackingStoreBuffered
                    defer:NO];
  w.title = nsString(title);
  w.releasedWhenClosed = NO;
  content.translatesAutoresizingMaskIntoConstraints = NO;
  NSView *host = w.contentView;
  [host addSubview:content];
  NSLayoutYAxisAnchor *bottom = host.bottomAnchor;
  [NSLayoutConstraint activateConstraints:@[
    [content.leadingAnchor constraintEqualToAnchor:host.leadingAnchor],
    [content.trailingAnchor constraintEqualToAnchor:host.trailingAnchor],
    [content.topAnchor constraintEqualToAnchor:host.topAnchor],
    fills ? [content.bottomAnchor constraintEqualToAnchor:bottom]
          : [content.bottomAnchor constraintLessThanOrEqualToAnchor:bottom],
  ]];
  return w;
}

// The window style the user chose: the neon windows are dark, glass follows the system.
inline void applyLook(NSWindow *window) {
  window.appearance = Prefs::windowStyle() == WindowStyle::neon
                          ? [NSAppearance appearanceNamed:NSAppearanceNameDarkAqua]
                          : nil;
}

// Brings an accessory application's window to the front with the keyboard focus.
inline void present(NSWindow *window) {
  [window center];
  [[NSApplication sharedApplication] activateIgnoringOtherApps:YES];
  [window makeKeyAndOrderFront:nil];
}

} // namespace selvar::WindowKit
