#pragma once
// A pill panel and a set of screens for tests: the panel records what the HUD asked of it,
// reports "moved" only when its origin really changes (as window systems do), and lets a test
// play mouse events in screen coordinates.

#include "platform/HudPanel.h"
#include "platform/Screens.h"

#include <optional>
#include <vector>

namespace selvar {

class FakeHudPanel : public HudPanel {
public:
  void host(HUDModel &model) override { hosted = &model; }
  void unhost() override { hosted = nullptr; }
  void setEventHandlers(Events e) override { events = std::move(e); }
  Rect frame() const override { return frame_; }
  void setFrame(Rect frame) override;
  void setOrigin(Point origin) override;
  Size fittingSize() override { return contentSize; }
  void setCornerRadius(double radius) override { cornerRadius = radius; }
  void setBackdrop(HUDMaterial material) override { backdrop = material; }
  bool isVisible() const override { return visible_; }
  void orderFront() override { visible_ = true; }
  void orderOut() override { visible_ = false; }

  // A drag as the window system reports it: press, moves, release.
  void drag(Point from, const std::vector<Point> &through);

  HUDModel *hosted = nullptr;
  Events events;
  Size contentSize{220, 48};
  double cornerRadius = 0;
  std::optional<HUDMaterial> backdrop;

private:
  Rect frame_;
  bool visible_ = false;
};

class FakeScreens : public Screens {
public:
  std::vector<Rect> visibleFrames() const override { return frames; }
  std::optional<Rect> mainVisibleFrame() const override { return main; }

  std::vector<Rect> frames;
  std::optional<Rect> main;
};

} // namespace selvar
