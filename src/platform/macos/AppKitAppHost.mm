#include "platform/macos/AppKitAppHost.h"

#include "platform/macos/CoreGraphicsIconRenderer.h"
#include "platform/macos/ObjCBridge.h"

#import <AppKit/AppKit.h>
#include <cstdio>
#include <unistd.h>

using selvar::MenuAction;
using selvar::MenuItem;

// Carries a menu model item on its NSMenuItem, for the handler to get back.
@interface SLVMenuItemBox : NSObject
- (instancetype)initWithItem:(const MenuItem &)item;
- (const MenuItem &)item;
@end

@implementation SLVMenuItemBox {
  MenuItem _item;
}
- (instancetype)initWithItem:(const MenuItem &)item {
  self = [super init];
  if (self) _item = item;
  return self;
}
- (const MenuItem &)item {
  return _item;
}
@end

// The target of every menu item that is not a standard editing command.
@interface SLVMenuTarget : NSObject
- (instancetype)initWithHandler:(selvar::MenuHandler)handler;
- (void)choose:(NSMenuItem *)sender;
@end

@implementation SLVMenuTarget {
  selvar::MenuHandler _handler;
}
- (instancetype)initWithHandler:(selvar::MenuHandler)handler {
  self = [super init];
  if (self) _handler = std::move(handler);
  return self;
}
- (void)choose:(NSMenuItem *)sender {
  SLVMenuItemBox *box = sender.representedObject;
  if (box && _handler) _handler([box item]);
}
@end

namespace {

// The editing commands go down the responder chain to whichever text view has the focus.
NSString *responderAction(MenuAction action) {
  switch (action) {
  case MenuAction::undo:
    return @"undo:";
  case MenuAction::redo:
    return @"redo:";
  case MenuAction::cut:
    return @"cut:";
  case MenuAction::copy:
    return @"copy:";
  case MenuAction::paste:
    return @"paste:";
  case MenuAction::selectAll:
    return @"selectAll:";
  default:
    return nil;
  }
}

NSEventModifierFlags modifierMask(unsigned modifiers) {
  NSEventModifierFlags mask = 0;
  if (modifiers & selvar::MenuModifier::command) mask |= NSEventModifierFlagCommand;
  if (modifiers & selvar::MenuModifier::shift) mask |= NSEventModifierFlagShift;
  if (modifiers & selvar::MenuModifier::option) mask |= NSEventModifierFlagOption;
  if (modifiers & selvar::MenuModifier::control) mask |= NSEventModifierFlagControl;
  return mask;
}

void fill(NSMenu *menu, const std::vector<MenuItem> &items, SLVMenuTarget *target);

NSMenuItem *menuItem(const MenuItem &item, SLVMenuTarget *target) {
  if (item.kind == MenuItem::Kind::separator) return [NSMenuItem separatorItem];
  NSString *title = selvar::nsString(item.title);
  NSString *key = item.keyEquivalent ? selvar::nsString(item.keyEquivalent->key) : @"";
  NSMenuItem *entry = [[NSMenuItem alloc] initWithTitle:title action:nil keyEquivalent:key];
  if (item.keyEquivalent)
    entry.keyEquivalentModifierMask = modifierMask(item.keyEquivalent->modifiers);
  entry.tag = item.tag;
  if (item.kind == MenuItem::Kind::submenu) {
    NSMenu *submenu = [[NSMenu alloc] initWithTitle:title];
    fill(submenu, item.items, target);
    entry.submenu = submenu;
  } else if (NSString *standard = responderAction(item.action)) {
    entry.action = NSSelectorFromString(standard); // no target: the first responder
  } else {
    entry.target = target;
    entry.action = @selector(choose:);
    entry.representedObject = [[SLVMenuItemBox alloc] initWithItem:item];
  }
  return entry;
}

void fill(NSMenu *menu, const std::vector<MenuItem> &items, SLVMenuTarget *target) {
  for (const MenuItem &item : items)
    [menu addItem:menuItem(item, target)];
}

} // namespace

// Rebuilds the status menu from the core's model every time it is about to open.
@interface SLVStatusMenuDelegate : NSObject <NSMenuDelegate>
- (instancetype)initWithBuilder:(std::function<std::vector<MenuItem>()>)build
                         target:(SLVMenuTarget *)target;
@end

@implementation SLVStatusMenuDelegate {
  std::function<std::vector<MenuItem>()> _build;
  SLVMenuTarget *_target;
}
- (instancetype)initWithBuilder:(std::function<std::vector<MenuItem>()>)build
                         target:(SLVMenuTarget *)target {
  self = [super init];
  if (self) {
    _build = std::move(build);
    _target = target;
  }
  return self;
}
- (void)menuNeedsUpdate:(NSMenu *)menu {
  [menu removeAllItems];
  if (_build) fill(menu, _build(), _target);
}
@end

namespace selvar {

namespace {
constexpr double kStatusGlyphPoints = 18;
} // namespace

void AppKitAppHost::installMainMenu(const std::vector<Menu> &menus, MenuHandler handler) {
  mainTarget_ = [[SLVMenuTarget alloc] initWithHandler:std::move(handler)];
  NSMenu *bar = [[NSMenu alloc] initWithTitle:@""];
  for (const Menu &menu : menus) {
    MenuItem top = MenuItem::submenu(menu.title);
    top.items = menu.items;
    [bar addItem:menuItem(top, mainTarget_)];
  }
  [NSApplication sharedApplication].mainMenu = bar;
}

void AppKitAppHost::installStatusItem(const std::string &toolTip,
                                      std::function<std::vector<MenuItem>()> buildMenu,
                                      MenuHandler handler) {
  SLVMenuTarget *target = [[SLVMenuTarget alloc] initWithHandler:std::move(handler)];
  statusDelegate_ = [[SLVStatusMenuDelegate alloc] initWithBuilder:std::move(buildMenu)
                                                            target:target];
  NSMenu *menu = [[NSMenu alloc] initWithTitle:@"Selvar"];
  menu.delegate = statusDelegate_;
  [statusDelegate_ menuNeedsUpdate:menu];
  statusItem_ = [[NSStatusBar systemStatusBar] statusItemWithLength:NSVariableStatusItemLength];
  statusItem_.button.image = statusBarGlyph(kStatusGlyphPoints);
  statusItem_.button.toolTip = nsString(toolTip);
  statusItem_.menu = menu;
}

void AppKitAppHost::setStatusToolTip(const std::string &toolTip) {
  statusItem_.button.toolTip = nsString(toolTip);
}

void AppKitAppHost::showAboutPanel() {
  // An accessory application has to come forward for its panel to be seen.
  [[NSApplication sharedApplication] activateIgnoringOtherApps:YES];
  [[NSApplication sharedApplication] orderFrontStandardAboutPanel:nil];
}

void AppKitAppHost::hideApplication() {
  [[NSApplication sharedApplication] hide:nil];
}

void AppKitAppHost::terminate() {
  [[NSApplication sharedApplication] terminate:nil];
}

void AppKitAppHost::printToTerminal(const std::string &line) {
  if (!::isatty(STDOUT_FILENO)) return;
  std::fputs(line.c_str(), stdout);
  std::fputc('\n', stdout);
  std::fflush(stdout);
}

std::string AppKitAppHost::appVersion() const {
  id version = [[NSBundle mainBundle] objectForInfoDictionaryKey:@"CFBundleShortVersionString"];
  return [version isKindOfClass:[NSString class]] ? stdString(version) : SELVAR_VERSION;
}

std::string AppKitAppHost::osVersion() const {
  return stdString([NSProcessInfo processInfo].operatingSystemVersionString);
}

} // namespace selvar
