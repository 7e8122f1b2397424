#pragma once
// The pill's window on macOS: a non-activating floating NSPanel on every Space, a visual-effect
// backdrop with rounded corners, and a layer-drawn pill that follows the HUD model.

#include "platform/HudPanel.h"

#include <cstdint>

@class NSPanel;
@class NSVisualEffectView;
@class SLVDragView;
@class SLVPillView;
@protocol NSObject;

namespace selvar {

class AppKitHudPanel : public HudPanel {
public:
  AppKitHudPanel();
  ~AppKitHudPanel() override;
  AppKitHudPanel(const AppKitHudPanel &) = delete;
  AppKitHudPanel &operator=(const AppKitHudPanel &) = delete;

  void host(HUDModel &model) override;
  void setEventHandlers(Events events) override;
  Rect frame() const override;
  void setFrame(Rect frame) override;
  void setOrigin(Point origin) override;
  Size fittingSize() override;
  void setCornerRadius(double radius) override;
  void setBackdrop(HUDMaterial material) override;
  bool isVisible() const override;
  void orderFront() override;
  void orderOut() override;

private:
  NSPanel *panel_;
  SLVDragView *dragView_;
  NSVisualEffectView *backdrop_;
  SLVPillView *pill_ = nil;
  id<NSObject> moveObserver_ = nil;
  Events events_;
};

} // namespace selvar
