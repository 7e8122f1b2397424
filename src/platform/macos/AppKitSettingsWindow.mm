#include "platform/macos/AppKitSettingsWindow.h"

#include "app/EngineInstaller.h"
#include "app/SettingsModel.h"
#include "platform/macos/WindowKit.h"

#import <AppKit/AppKit.h>
#include <dispatch/dispatch.h>

using selvar::EngineInstallState;
using selvar::EngineRow;
using selvar::PermissionState;
using selvar::SettingControl;
namespace Kit = selvar::WindowKit;

namespace {

constexpr selvar::PermissionPane kPanes[] = {selvar::PermissionPane::microphone,
                                             selvar::PermissionPane::speechRecognition,
                                             selvar::PermissionPane::accessibility};

std::string key(NSView *control) {
  return selvar::stdString(control.identifier);
}

} // namespace

// A document view that lays out from the top, as a settings page reads.
@interface SLVFlippedView : NSView
@end
@implementation SLVFlippedView
- (BOOL)isFlipped {
  return YES;
}
@end

@interface SLVSettingsWindow : NSObject <NSWindowDelegate, NSTextFieldDelegate>
- (void)openExpanded:(bool)expanded;
@end

@implementation SLVSettingsWindow {
  selvar::SettingsModel _model;
  std::unique_ptr<selvar::EngineInstaller> _installer;
  NSWindow *_window;
  NSStackView *_content;
  id _keyMonitor;
  NSButton *_recording; // the "Record…" button waiting for a key
}

- (instancetype)init {
  self = [super init];
  if (!self) return nil;
  _content = Kit::column(8);
  _content.edgeInsets = NSEdgeInsetsMake(20, 24, 24, 24);
  _content.translatesAutoresizingMaskIntoConstraints = NO;
  SLVFlippedView *document = [[SLVFlippedView alloc] initWithFrame:NSZeroRect];
  document.translatesAutoresizingMaskIntoConstraints = NO;
  [document addSubview:_content];
  NSScrollView *scroll = [[NSScrollView alloc] initWithFrame:NSZeroRect];
  scroll.hasVerticalScroller = YES;
  scroll.drawsBackground = NO;
  scroll.documentView = document;
  NSClipView *clip = scroll.contentView;
  [NSLayoutConstraint activateConstraints:@[
    [_content.leadingAnchor constraintEqualToAnchor:document.leadingAnchor],
    [_content.trailingAnchor constraintEqualToAnchor:document.trailingAnchor],
    [_content.topAnchor constraintEqualToAnchor:document.topAnchor],
    [_content.bottomAnchor constraintEqualToAnchor:document.bottomAnchor],
    [document.leadingAnchor constraintEqualToAnchor:clip.leadingAnchor],
    [document.topAnchor constraintEqualToAnchor:clip.topAnchor],
    [document.widthAnchor constraintEqualToAnchor:clip.widthAnchor],
  ]];
  _window = Kit::window("Selvar Settings", scroll, NSMakeSize(620, 720), true);
  _window.delegate = self;
  return self;
}

- (void)openExpanded:(bool)expanded {
  if (expanded) _model.setExpanded(true);
  if (!_installer) {
    __weak SLVSettingsWindow *weakSelf = self;
    _installer = std::make_unique<selvar::EngineInstaller>(
        [](std::function<void()> work) {
          dispatch_async(dispatch_get_global_queue(QOS_CLASS_UTILITY, 0), ^{
            work();
          });
        },
        [weakSelf](const std::string &engineId, const EngineInstallState &state) {
          [weakSelf installOf:engineId changedTo:state];
        });
    _installer->refresh();
  }
  [self render];
  Kit::present(_window);
}

- (void)installOf:(const std::string &)engineId changedTo:(const EngineInstallState &)state {
  _model.setInstallState(engineId, state);
  [self render];
}

// Draws every part again from the model.
- (void)render {
  [self stopRecording];
  Kit::applyLook(_window);
  for (NSView *view in [_content.arrangedSubviews copy])
    [view removeFromSuperview];
  const bool expanded = _model.expanded();
  for (const auto &section : _model.sections())
    if (!section.extra || expanded) [self addSection:section];
  [self addEngines:"DICTATION ENGINE" rows:_model.dictationEngines() dictation:true];
  [self addEngines:"REWRITE ENGINE" rows:_model.rewriteEngines() dictation:false];
  [self addPermissions];
  [self addFiles];
  [_content addArrangedSubview:Kit::button(expanded ? "Fewer Settings" : "More Settings", self,
                                           @selector(toggleExpanded:))];
}

- (void)addHeading:(std::string_view)title {
  NSTextField *heading = Kit::secondaryLabel(title, 11);
  heading.font = Kit::font(11, true);
  [_content addArrangedSubview:heading];
}

- (void)addSection:(const selvar::SettingsSection &)section {
  [self addHeading:section.title];
  for (const SettingControl &control : section.controls) {
    Kit::addRow(_content, [self viewFor:control]);
    if (!control.help.empty()) Kit::addRow(_content, Kit::paragraph(control.help));
    if (!control.warning.empty()) {
      NSTextField *warning = Kit::paragraph(control.warning, 12);
      warning.textColor = [NSColor systemOrangeColor];
      Kit::addRow(_content, warning);
    }
  }
}

- (NSView *)viewFor:(const SettingControl &)control {
  NSString *identifier = selvar::nsString(control.key);
  switch (control.kind) {
  case SettingControl::Kind::toggle: {
    NSButton *box = Kit::checkbox(control.title, control.isOn, self, @selector(toggleChanged:));
    box.identifier = identifier;
    return box;
  }
  case SettingControl::Kind::choice: {
    NSPopUpButton *popup = [[NSPopUpButton alloc] initWithFrame:NSZeroRect pullsDown:NO];
    popup.font = Kit::font(13);
    for (const auto &option : control.options) {
      [popup addItemWithTitle:selvar::nsString(option.label)];
      popup.lastItem.representedObject = selvar::nsString(option.value);
      if (option.value == control.selected) [popup selectItem:popup.lastItem];
    }
    popup.identifier = identifier;
    popup.target = self;
    popup.action = @selector(choiceChanged:);
    return Kit::row(@[ Kit::label(control.title), popup ]);
  }
  case SettingControl::Kind::stepper: {
    NSStepper *stepper = [[NSStepper alloc] initWithFrame:NSZeroRect];
    stepper.minValue = static_cast<double>(control.minimum);
    stepper.maxValue = static_cast<double>(control.maximum);
    stepper.increment = static_cast<double>(control.step);
    stepper.integerValue = static_cast<NSInteger>(control.number);
    stepper.identifier = identifier;
    stepper.target = self;
    stepper.action = @selector(numberChanged:);
    std::string value = std::to_string(control.number) + " " + control.unit;
    return Kit::row(@[ Kit::label(control.title), Kit::label(value), stepper ]);
  }
  case SettingControl::Kind::keyBinding: {
    NSButton *record = Kit::button("Record…", self, @selector(recordBinding:));
    NSButton *clear = Kit::button("Clear", self, @selector(clearBinding:));
    record.identifier = identifier;
    clear.identifier = identifier;
    clear.enabled = !control.text.empty();
    std::string shown = control.text.empty() ? "None" : control.text;
    return Kit::row(@[ Kit::label(control.title), Kit::label(shown, 13, true), record, clear ]);
  }
  case SettingControl::Kind::text: {
    NSTextField *field = [NSTextField textFieldWithString:selvar::nsString(control.text)];
    field.font = Kit::font(13);
    field.identifier = identifier;
    field.delegate = self;
    [field.widthAnchor constraintGreaterThanOrEqualToConstant:160].active = YES;
    return Kit::row(@[ Kit::label(control.title), field ]);
  }
  }
  return Kit::label(control.title);
}

- (void)addEngines:(std::string_view)title
              rows:(const std::vector<EngineRow> &)rows
         dictation:(bool)dictation {
  [self addHeading:title];
  SEL choose = dictation ? @selector(chooseDictationEngine:) : @selector(chooseRewriteEngine:);
  for (const EngineRow &row : rows) {
    NSButton *radio = [NSButton radioButtonWithTitle:selvar::nsString(row.engine.displayName)
                                              target:self
                                              action:choose];
    radio.font = Kit::font(13);
    radio.identifier = selvar::nsString(row.engine.id);
    radio.state = row.selected ? NSControlStateValueOn : NSControlStateValueOff;
    radio.enabled = row.engine.runsHere;
    NSMutableArray<NSView *> *line = [NSMutableArray arrayWithObject:radio];
    if (NSView *install = [self installViewFor:row]) [line addObject:install];
    [_content addArrangedSubview:Kit::row(line)];
    std::string about = row.engine.vendor;
    if (!row.engine.note.empty()) about += (about.empty() ? "" : " — ") + row.engine.note;
    if (!about.empty()) Kit::addRow(_content, Kit::paragraph(about));
  }
}

// The model download of a server engine: its button, progress or outcome.
- (NSView *)installViewFor:(const EngineRow &)row {
  using Phase = EngineInstallState::Phase;
  if (row.canInstall) {
    NSButton *install = Kit::button("Install", self, @selector(installEngine:));
    install.identifier = selvar::nsString(row.engine.id);
    if (row.install.phase != Phase::failed) return install;
    NSTextField *error = Kit::secondaryLabel("Failed: " + row.install.error);
    return Kit::row(@[ install, error ]);
  }
  if (row.install.phase == Phase::downloading) {
    NSProgressIndicator *progress = [[NSProgressIndicator alloc] initWithFrame:NSZeroRect];
    progress.style = NSProgressIndicatorStyleBar;
    progress.indeterminate = !row.install.fraction();
    progress.minValue = 0;
    progress.maxValue = 1;
    progress.doubleValue = row.install.fraction().value_or(0);
    [progress.widthAnchor constraintEqualToConstant:140].active = YES;
    [progress startAnimation:nil];
    return progress;
  }
  if (row.install.phase == Phase::ready) return Kit::secondaryLabel("Installed");
  return nil;
}

- (void)addPermissions {
  [self addHeading:"PERMISSIONS"];
  for (const auto &row : _model.permissionRows()) {
    NSButton *open = Kit::button("Open System Settings", self, @selector(openPane:));
    open.tag = static_cast<NSInteger>(row.pane);
    [_content addArrangedSubview:Kit::row(@[
                Kit::label(row.title), Kit::label(stateText(row.state), 13, true), open
              ])];
  }
  [_content
      addArrangedSubview:Kit::button("Reset All Permissions", self, @selector(resetPermissions:))];
}

- (void)addFiles {
  [self addHeading:"FILES"];
  [_content addArrangedSubview:Kit::row(@[
              Kit::button("Open Dictionary", self, @selector(openDictionary:)),
              Kit::button("Show Logs", self, @selector(revealLogs:)),
              Kit::button("Show History", self, @selector(revealHistory:)),
              Kit::button("Clear Diagnostics", self, @selector(clearDiagnostics:)),
            ])];
}

// Actions: each edit goes through the model, then the window is drawn again.

- (void)toggleChanged:(NSButton *)sender {
  _model.setToggle(key(sender), sender.state == NSControlStateValueOn);
  [self render];
}

- (void)choiceChanged:(NSPopUpButton *)sender {
  NSString *value = sender.selectedItem.representedObject;
  _model.setChoice(key(sender), selvar::stdString(value));
  [self render];
}

- (void)numberChanged:(NSStepper *)sender {
  _model.setNumber(key(sender), sender.integerValue);
  [self render];
}

- (void)controlTextDidEndEditing:(NSNotification *)notification {
  NSTextField *field = notification.object;
  _model.setText(key(field), selvar::stdString(field.stringValue));
  // Not while the field is still finishing its own editing.
  __weak SLVSettingsWindow *weakSelf = self;
  dispatch_async(dispatch_get_main_queue(), ^{
    [weakSelf render];
  });
}

- (void)recordBinding:(NSButton *)sender {
  [self stopRecording];
  _recording = sender;
  sender.title = @"Press a key…";
  __weak SLVSettingsWindow *weakSelf = self;
  _keyMonitor = [NSEvent addLocalMonitorForEventsMatchingMask:NSEventMaskKeyDown
                                                      handler:^NSEvent *(NSEvent *event) {
                                                        [weakSelf recordKey:event];
                                                        return nil;
                                                      }];
}

// Escape alone stops recording without a change; any other key becomes the binding, with the
// event's modifier bits as the key tap will see them.
- (void)recordKey:(NSEvent *)event {
  const NSEventModifierFlags modifiers =
      event.modifierFlags & NSEventModifierFlagDeviceIndependentFlagsMask;
  std::string bindingKey = key(_recording);
  [self stopRecording];
  if (event.keyCode != 53 || modifiers != 0)
    _model.setBinding(bindingKey, selvar::KeyBinding{event.keyCode, modifiers});
  [self render];
}

- (void)stopRecording {
  if (_keyMonitor) [NSEvent removeMonitor:_keyMonitor];
  _keyMonitor = nil;
  _recording = nil;
}

- (void)clearBinding:(NSButton *)sender {
  _model.setBinding(key(sender), std::nullopt);
  [self render];
}

- (void)chooseDictationEngine:(NSButton *)sender {
  _model.chooseDictationEngine(key(sender));
  [self render];
}

- (void)chooseRewriteEngine:(NSButton *)sender {
  _model.chooseRewriteEngine(key(sender));
  [self render];
}

- (void)installEngine:(NSButton *)sender {
  if (_installer) _installer->install(key(sender));
}

- (void)openPane:(NSButton *)sender {
  for (auto pane : kPanes)
    if (static_cast<NSInteger>(pane) == sender.tag) _model.openPermissionPane(pane);
}

- (void)resetPermissions:(NSButton *)sender {
  _model.resetPermissions();
  [self render];
}

- (void)openDictionary:(NSButton *)sender {
  _model.openDictionary();
}

- (void)revealLogs:(NSButton *)sender {
  _model.revealLogs();
}

- (void)revealHistory:(NSButton *)sender {
  _model.revealHistory();
}

- (void)clearDiagnostics:(NSButton *)sender {
  _model.clearDiagnostics();
}

- (void)toggleExpanded:(NSButton *)sender {
  _model.setExpanded(!_model.expanded());
  [self render];
}

- (void)windowWillClose:(NSNotification *)notification {
  [self stopRecording];
  _installer.reset(); // stops following downloads until the window opens again
}

@end

namespace selvar {

void AppKitSettingsWindow::open(bool expanded) {
  if (!window_) window_ = [[SLVSettingsWindow alloc] init];
  [window_ openExpanded:expanded];
}

} // namespace selvar
