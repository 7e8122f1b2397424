#import "platform/macos/PillView.h"

#include "platform/macos/ObjCBridge.h"

#import <QuartzCore/QuartzCore.h>
#include <cmath>

using selvar::HUDModel;

namespace {

struct BarGeometry {
  CGFloat width, gap, height;
};

BarGeometry barGeometry(selvar::HUDPreference style) {
  return style == selvar::HUDPreference::mini ? BarGeometry{2, 1.5, 18} : BarGeometry{3, 2, 30};
}

NSColor *tintColor(selvar::HUDTint tint) {
  switch (tint) {
  case selvar::HUDTint::orange:
    return [NSColor systemOrangeColor];
  case selvar::HUDTint::red:
    return [NSColor systemRedColor];
  case selvar::HUDTint::accent:
    return [NSColor controlAccentColor];
  case selvar::HUDTint::secondary:
    break;
  }
  return [NSColor secondaryLabelColor];
}

NSColor *srgb(double r, double g, double b) {
  return [NSColor colorWithSRGBRed:r green:g blue:b alpha:1];
}

NSColor *meterColor(selvar::Palette palette) {
  switch (palette) {
  case selvar::Palette::cyberpunk:
    return srgb(1.0, 0.22, 0.78);
  case selvar::Palette::business:
    return [NSColor systemBlueColor];
  case selvar::Palette::midnight:
    return srgb(0.48, 0.52, 1.0);
  }
  return [NSColor controlAccentColor];
}

// Nothing for no outline.
NSColor *outlineColor(const selvar::PillOutline &outline, NSColor *tint) {
  using Kind = selvar::PillOutline::Kind;
  switch (outline.kind) {
  case Kind::none:
    return nil;
  case Kind::black:
    return [NSColor blackColor];
  case Kind::custom:
    if (auto c = selvar::parseHexColor(outline.hex)) return srgb(c->red, c->green, c->blue);
    return tint;
  case Kind::tint:
    break;
  }
  return tint;
}

} // namespace

// The 28 bars, drawn as plain layers so a push only moves frames.
@interface SLVMeterView : NSView
@end

@implementation SLVMeterView {
  NSMutableArray<CALayer *> *_bars;
  BarGeometry _geometry;
  HUDModel::Bands _bands;
  double _phase;
  NSColor *_color;
}

- (instancetype)init {
  self = [super initWithFrame:NSZeroRect];
  if (!self) return nil;
  // A layer-hosting view: the bars are this view's own sublayers, not AppKit's.
  self.layer = [CALayer layer];
  self.wantsLayer = YES;
  _geometry = barGeometry(selvar::HUDPreference::full);
  _bands.fill(0);
  _phase = 0;
  _color = [NSColor controlAccentColor];
  _bars = [NSMutableArray array];
  for (std::size_t i = 0; i < HUDModel::kBandCount; ++i) {
    CALayer *bar = [CALayer layer];
    [self.layer addSublayer:bar];
    [_bars addObject:bar];
  }
  return self;
}

- (NSSize)intrinsicContentSize {
  const CGFloat count = HUDModel::kBandCount;
  return NSMakeSize(count * _geometry.width + (count - 1) * _geometry.gap, _geometry.height);
}

- (void)setStyle:(selvar::HUDPreference)style {
  _geometry = barGeometry(style);
  [self invalidateIntrinsicContentSize];
}

- (void)showBands:(const HUDModel::Bands &)bands phase:(double)phase color:(NSColor *)color {
  _bands = bands;
  _phase = phase;
  _color = color;
  [self placeBars];
}

- (void)layout {
  [super layout];
  [self placeBars];
}

- (void)placeBars {
  [CATransaction begin];
  [CATransaction setDisableActions:YES];
  const CGFloat minimum = _geometry.width;
  const CGFloat midY = NSMidY(self.bounds);
  for (std::size_t i = 0; i < _bands.size(); ++i) {
    CALayer *bar = _bars[i];
    CGFloat height = minimum + _bands[i] * (_geometry.height - minimum);
    CGFloat x = i * (_geometry.width + _geometry.gap);
    bar.frame = CGRectMake(x, midY - height / 2, _geometry.width, height);
    bar.cornerRadius = _geometry.width / 2;
    // The energy phase ripples the brightness along the bars while the voice is loud.
    bar.opacity = static_cast<float>(0.7 + 0.3 * std::sin(_phase + 0.35 * static_cast<double>(i)));
    bar.backgroundColor = _color.CGColor;
  }
  [CATransaction commit];
}

@end

@implementation SLVPillView {
  selvar::HUDModel *_model;
  NSImageView *_symbol;
  NSTextField *_stateLabel;
  NSTextField *_hintLabel;
  NSTextField *_questionLabel;
  SLVMeterView *_meter;
  NSStackView *_row;
  NSColor *_meterColor;
}

- (instancetype)initWithModel:(selvar::HUDModel *)model {
  self = [super initWithFrame:NSMakeRect(0, 0, 300, 60)];
  if (!self) return nil;
  _model = model;
  self.wantsLayer = YES;
  self.layer.masksToBounds = YES;
  _symbol = [[NSImageView alloc] init];
  _stateLabel = [NSTextField labelWithString:@""];
  _hintLabel = [NSTextField labelWithString:@""];
  _hintLabel.textColor = [NSColor secondaryLabelColor];
  _questionLabel = [NSTextField labelWithString:@""];
  _meter = [[SLVMeterView alloc] init];

  NSStackView *text = [NSStackView stackViewWithViews:@[ _stateLabel, _hintLabel, _questionLabel ]];
  text.orientation = NSUserInterfaceLayoutOrientationVertical;
  text.alignment = NSLayoutAttributeLeading;
  text.spacing = 1;
  _row = [NSStackView stackViewWithViews:@[ _symbol, text, _meter ]];
  _row.orientation = NSUserInterfaceLayoutOrientationHorizontal;
  _row.alignment = NSLayoutAttributeCenterY;
  _row.spacing = 10;
  _row.translatesAutoresizingMaskIntoConstraints = NO;
  [self addSubview:_row];
  [NSLayoutConstraint activateConstraints:@[
    [_row.centerXAnchor constraintEqualToAnchor:self.centerXAnchor],
    [_row.centerYAnchor constraintEqualToAnchor:self.centerYAnchor],
    [self.widthAnchor constraintGreaterThanOrEqualToAnchor:_row.widthAnchor constant:28],
    [self.heightAnchor constraintGreaterThanOrEqualToAnchor:_row.heightAnchor constant:16],
  ]];
  [self refreshLook];
  return self;
}

- (void)setCornerRadius:(CGFloat)radius {
  self.layer.cornerRadius = radius;
}

- (void)refresh:(HUDModel::Field)field {
  if (field == HUDModel::Field::bands || field == HUDModel::Field::phase)
    [self refreshMeter];
  else
    [self refreshLook];
}

- (void)refreshMeter {
  [_meter showBands:_model->bands() phase:_model->phase() color:_meterColor];
}

- (void)refreshLook {
  const HUDModel &model = *_model;
  const bool mini = model.style() == selvar::HUDPreference::mini;
  const auto look = model.presentation();
  NSColor *tint = tintColor(look.tint);

  _symbol.image = look.symbol.empty()
                      ? nil
                      : [NSImage imageWithSystemSymbolName:selvar::nsString(look.symbol)
                                  accessibilityDescription:nil];
  _symbol.contentTintColor = tint;
  _symbol.hidden = look.symbol.empty();

  _stateLabel.stringValue = selvar::nsString(model.state());
  _stateLabel.font = [NSFont systemFontOfSize:mini ? 11 : 13 weight:NSFontWeightSemibold];
  // The hint (how to stop) belongs to a recording, and to the full pill only.
  const bool hint = !mini && look.kind == selvar::HUDStateKind::listening;
  _hintLabel.stringValue = hint ? selvar::nsString(model.hint()) : @"";
  _hintLabel.font = [NSFont systemFontOfSize:11];
  _hintLabel.hidden = !hint;
  const auto &question = model.question();
  _questionLabel.stringValue = question ? selvar::nsString(*question) : @"";
  _questionLabel.font = [NSFont systemFontOfSize:12 weight:NSFontWeightSemibold];
  _questionLabel.hidden = !question;

  [_meter setStyle:model.style()];
  _meterColor = meterColor(selvar::Prefs::theme());
  _row.spacing = mini ? 6 : 10;

  NSColor *outline = outlineColor(selvar::Prefs::pillOutline(), tint);
  self.layer.borderWidth = outline ? 1.5 : 0;
  self.layer.borderColor = outline.CGColor;
  [self refreshMeter];
}

@end
