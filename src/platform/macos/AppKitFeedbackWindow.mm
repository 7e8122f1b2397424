#include "platform/macos/AppKitFeedbackWindow.h"

#include "platform/macos/WindowKit.h"

#import <AppKit/AppKit.h>

using selvar::FeedbackKind;
using selvar::FeedbackWindowModel;
namespace Kit = selvar::WindowKit;

namespace {
constexpr FeedbackKind kKinds[] = {FeedbackKind::bug, FeedbackKind::idea, FeedbackKind::praise};
} // namespace

// Owns one window and keeps it in step with its model; every edit goes to the model's draft.
@interface SLVFeedbackWindow : NSObject <NSWindowDelegate, NSTextViewDelegate, NSTextFieldDelegate>
- (instancetype)initWithModel:(std::shared_ptr<FeedbackWindowModel>)model
                      onClose:(std::function<void()>)onClose;
- (void)show;
- (void)close;
@end

@implementation SLVFeedbackWindow {
  std::shared_ptr<FeedbackWindowModel> _model;
  std::function<void()> _onClose;
  NSWindow *_window;
  NSSegmentedControl *_kind;
  NSTextView *_message;
  NSTextField *_placeholder;
  NSTextField *_email;
  NSButton *_logs, *_transcript, *_systemInfo;
  NSButton *_disclosure;
  NSScrollView *_previewArea;
  NSTextView *_preview;
  NSTextField *_status;
  NSTextField *_thanks;
  NSButton *_send;
}

- (instancetype)initWithModel:(std::shared_ptr<FeedbackWindowModel>)model
                      onClose:(std::function<void()>)onClose {
  self = [super init];
  if (!self) return nil;
  _model = std::move(model);
  _onClose = std::move(onClose);
  NSStackView *content = Kit::column(10);
  content.edgeInsets = NSEdgeInsetsMake(20, 20, 20, 20);
  [self addHeaderTo:content];
  [self addKindTo:content];
  [self addMessageTo:content];
  [self addAttachmentsTo:content];
  [self addPreviewTo:content];
  [self addButtonsTo:content];
  _window = Kit::window(FeedbackWindowModel::kTitle, content, NSMakeSize(520, 640), false);
  Kit::applyLook(_window);
  _window.delegate = self;
  [self refresh];
  return self;
}

- (void)addHeaderTo:(NSStackView *)content {
  NSImageView *symbol = [[NSImageView alloc] init];
  symbol.image = [NSImage imageWithSystemSymbolName:selvar::nsString(FeedbackWindowModel::kSymbol)
                           accessibilityDescription:nil];
  NSStackView *titles = Kit::column(2);
  [titles addArrangedSubview:Kit::label(FeedbackWindowModel::kHeader, 15, true)];
  [titles addArrangedSubview:Kit::paragraph(FeedbackWindowModel::kSubtitle)];
  Kit::addRow(content, Kit::row(@[ symbol, titles ], 10));
}

- (void)addKindTo:(NSStackView *)content {
  [content addArrangedSubview:Kit::secondaryLabel(FeedbackWindowModel::kKindSection)];
  NSMutableArray<NSString *> *labels = [NSMutableArray array];
  for (FeedbackKind kind : kKinds)
    [labels addObject:selvar::nsString(FeedbackWindowModel::kindLabel(kind))];
  _kind = [NSSegmentedControl segmentedControlWithLabels:labels
                                            trackingMode:NSSegmentSwitchTrackingSelectOne
                                                  target:self
                                                  action:@selector(kindChanged:)];
  [content addArrangedSubview:_kind];
}

- (void)addMessageTo:(NSStackView *)content {
  [content addArrangedSubview:Kit::secondaryLabel(FeedbackWindowModel::kMessageSection)];
  NSScrollView *area = Kit::textArea(160, true);
  _message = (NSTextView *)area.documentView;
  _message.string = selvar::nsString(_model->draft.message);
  _message.delegate = self;
  // A text view has no placeholder of its own: a grey label shows until there is text.
  _placeholder = Kit::secondaryLabel(FeedbackWindowModel::kMessagePlaceholder, 13);
  Kit::addRow(content, area);
  [content addArrangedSubview:_placeholder];
  _email = [NSTextField textFieldWithString:selvar::nsString(_model->draft.email)];
  _email.placeholderString = selvar::nsString(FeedbackWindowModel::kEmailPlaceholder);
  _email.font = Kit::font(13);
  _email.delegate = self;
  Kit::addRow(content, _email);
}

- (void)addAttachmentsTo:(NSStackView *)content {
  const auto &draft = _model->draft;
  _logs = Kit::checkbox(_model->logsToggleLabel(), draft.includeLogs, self,
                        @selector(attachmentsChanged:));
  _transcript = Kit::checkbox(FeedbackWindowModel::kTranscriptToggle, draft.includeTranscript, self,
                              @selector(attachmentsChanged:));
  _systemInfo = Kit::checkbox(_model->systemInfoToggleLabel(), draft.includeSystemInfo, self,
                              @selector(attachmentsChanged:));
  [content addArrangedSubview:_logs];
  [content addArrangedSubview:_transcript];
  [content addArrangedSubview:_systemInfo];
}

- (void)addPreviewTo:(NSStackView *)content {
  _disclosure =
      Kit::button(FeedbackWindowModel::kPreviewDisclosure, self, @selector(previewToggled:));
  _disclosure.bezelStyle = NSBezelStyleDisclosure;
  [_disclosure setButtonType:NSButtonTypePushOnPushOff];
  _disclosure.title = @"";
  [content addArrangedSubview:Kit::row(@[
             _disclosure, Kit::secondaryLabel(FeedbackWindowModel::kPreviewDisclosure)
           ])];
  _previewArea = Kit::textArea(180, false);
  _preview = (NSTextView *)_previewArea.documentView;
  Kit::addRow(content, _previewArea);
}

- (void)addButtonsTo:(NSStackView *)content {
  _status = Kit::paragraph("");
  Kit::addRow(content, _status);
  _thanks = Kit::label(FeedbackWindowModel::kThanks, 13, true);
  NSButton *cancel = Kit::button("Cancel", self, @selector(cancel:));
  cancel.keyEquivalent = @"\e";
  _send = Kit::button("Send", self, @selector(send:));
  _send.keyEquivalent = @"\r";
  _send.keyEquivalentModifierMask = NSEventModifierFlagCommand;
  [content addArrangedSubview:Kit::row(@[ _thanks, cancel, _send ])];
}

// Everything that depends on the model's state, after any change to it.
- (void)refresh {
  const FeedbackWindowModel &model = *_model;
  for (NSInteger i = 0; i < 3; ++i)
    if (kKinds[i] == model.draft.kind) _kind.selectedSegment = i;
  _placeholder.hidden = !model.draft.message.empty();
  _disclosure.state = model.showPreview ? NSControlStateValueOn : NSControlStateValueOff;
  _previewArea.hidden = !model.showPreview;
  if (model.showPreview) _preview.string = selvar::nsString(model.previewText());
  _status.stringValue = selvar::nsString(model.status);
  _status.hidden = model.status.empty();
  _thanks.hidden = !model.delivered();
  _send.title = selvar::nsString(model.sendButtonTitle());
  _send.enabled = model.canSend();
}

- (void)kindChanged:(NSSegmentedControl *)sender {
  if (sender.selectedSegment >= 0 && sender.selectedSegment < 3)
    _model->draft.kind = kKinds[sender.selectedSegment];
  [self refresh];
}

- (void)textDidChange:(NSNotification *)notification {
  _model->draft.message = selvar::stdString(_message.string);
  [self refresh];
}

- (void)controlTextDidChange:(NSNotification *)notification {
  _model->draft.email = selvar::stdString(_email.stringValue);
  [self refresh];
}

- (void)attachmentsChanged:(NSButton *)sender {
  auto &draft = _model->draft;
  draft.includeLogs = _logs.state == NSControlStateValueOn;
  draft.includeTranscript = _transcript.state == NSControlStateValueOn;
  draft.includeSystemInfo = _systemInfo.state == NSControlStateValueOn;
  [self refresh];
}

- (void)previewToggled:(NSButton *)sender {
  _model->showPreview = sender.state == NSControlStateValueOn;
  [self refresh];
}

- (void)send:(NSButton *)sender {
  __weak SLVFeedbackWindow *weakSelf = self;
  _model->send([weakSelf] { [weakSelf refresh]; });
  [self refresh];
}

- (void)cancel:(NSButton *)sender {
  [_window performClose:nil];
}

- (void)show {
  Kit::present(_window);
}

- (void)close {
  [_window close];
}

- (void)windowWillClose:(NSNotification *)notification {
  if (_onClose) _onClose();
  _onClose = nullptr;
}

@end

namespace selvar {

void AppKitFeedbackWindow::present(std::shared_ptr<FeedbackWindowModel> model,
                                   std::function<void()> onClose) {
  close();
  window_ = [[SLVFeedbackWindow alloc] initWithModel:std::move(model) onClose:std::move(onClose)];
  [window_ show];
}

void AppKitFeedbackWindow::close() {
  [window_ close];
  window_ = nil;
}

} // namespace selvar
