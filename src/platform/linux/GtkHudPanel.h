#pragma once
// The pill's window on X11 through GTK 3: an undecorated, always-on-top window on every
// workspace that never accepts the keyboard focus, painted with Cairo from the HUD model and
// reporting drags in screen coordinates. Where no compositor blends alpha, the window is shaped
// to the pill's rounded outline instead. Main thread only.

#include "hud/HUDModel.h"
#include "platform/HudPanel.h"
#include "platform/linux/GdkScreens.h"

#include <gtk/gtk.h>

namespace selvar {

class GtkHudPanel : public HudPanel {
public:
  explicit GtkHudPanel(const GdkScreens &screens) : GtkHudPanel(screens, nullptr) {}
  ~GtkHudPanel() override;
  GtkHudPanel(const GtkHudPanel &) = delete;
  GtkHudPanel &operator=(const GtkHudPanel &) = delete;

  void host(HUDModel &model) override;
  void unhost() override;
  void setEventHandlers(Events events) override { events_ = std::move(events); }
  Rect frame() const override { return frame_; }
  void setFrame(Rect frame) override;
  void setOrigin(Point origin) override { setFrame({origin, frame_.size}); }
  Size fittingSize() override;
  void setCornerRadius(double radius) override;
  void setBackdrop(HUDMaterial material) override;
  bool isVisible() const override;
  void orderFront() override;
  void orderOut() override;

  GtkWidget *window() const { return window_; }

protected:
  // prepare runs on the window before it is realized (the role of a Wayland surface is fixed
  // then).
  GtkHudPanel(const GdkScreens &screens, void (*prepare)(GtkWindow *));
  // Puts the window's top-left corner there, in root coordinates.
  virtual void moveWindow(GdkPoint topLeft);
  // Where the pointer is, in screen coordinates, from an event's window and root positions.
  virtual Point pointer(double x, double y, double rootX, double rootY) {
    (void)x, (void)y;
    return screens_.fromRoot(rootX, rootY);
  }
  // The same for the button press that may start a drag.
  virtual Point pressPointer(double x, double y, double rootX, double rootY) {
    return pointer(x, y, rootX, rootY);
  }
  const GdkScreens &screens() const { return screens_; }

private:
  void configureWindow();
  void connectSignals();
  void reshape();
  void draw(cairo_t *cr);

  static gboolean onDraw(GtkWidget *, cairo_t *cr, gpointer self);
  static gboolean onPress(GtkWidget *, GdkEventButton *event, gpointer self);
  static gboolean onMotion(GtkWidget *, GdkEventMotion *event, gpointer self);
  static gboolean onRelease(GtkWidget *, GdkEventButton *event, gpointer self);
  static void onScreenChanged(GtkWidget *, GdkScreen *, gpointer self);

  const GdkScreens &screens_;
  GtkWidget *window_ = nullptr;
  GtkWidget *area_ = nullptr;
  HUDModel *model_ = nullptr;
  HUDModel::Token subscription_ = 0;
  Events events_;
  Rect frame_;
  double cornerRadius_ = 0;
  bool composited_ = false;
};

} // namespace selvar
