#pragma once
// The pill's content: state symbol, state text, the hint line while recording, the question,
// and the bar meter, all redrawn from the HUD model when it announces a change.

#include "hud/HUDModel.h"

#import <AppKit/AppKit.h>

@interface SLVPillView : NSView
// The model must outlive the view's refreshes; the panel subscribes refresh: to it.
- (instancetype)initWithModel:(selvar::HUDModel *)model;
- (void)refresh:(selvar::HUDModel::Field)field;
- (void)setCornerRadius:(CGFloat)radius;
@end
