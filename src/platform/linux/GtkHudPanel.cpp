#include "platform/linux/GtkHudPanel.h"

#include "platform/linux/PillPainter.h"

#include <cmath>

namespace selvar {

namespace {

int whole(double value) {
  return std::max(1, int(std::lround(value)));
}

} // namespace

GtkHudPanel::GtkHudPanel(const GdkScreens &screens, void (*prepare)(GtkWindow *))
    : screens_(screens) {
  window_ = gtk_window_new(GTK_WINDOW_TOPLEVEL);
  area_ = gtk_drawing_area_new();
  gtk_container_add(GTK_CONTAINER(window_), area_);
  if (prepare) prepare(GTK_WINDOW(window_));
  configureWindow();
  connectSignals();
  gtk_widget_realize(window_);
}

GtkHudPanel::~GtkHudPanel() {
  unhost();
  gtk_widget_destroy(window_);
}

void GtkHudPanel::unhost() {
  if (model_) model_->unsubscribe(subscription_);
  model_ = nullptr;
  gtk_widget_hide(window_);
}

// Everything that keeps the pill out of the user's way: no frame, no taskbar entry, above
// other windows on all workspaces, and never the keyboard focus, not even when it appears.
void GtkHudPanel::configureWindow() {
  GtkWindow *window = GTK_WINDOW(window_);
  gtk_window_set_title(window, "Selvar");
  gtk_window_set_decorated(window, FALSE);
  gtk_window_set_resizable(window, FALSE);
  gtk_window_set_type_hint(window, GDK_WINDOW_TYPE_HINT_NOTIFICATION);
  gtk_window_set_keep_above(window, TRUE);
  gtk_window_stick(window);
  gtk_window_set_skip_taskbar_hint(window, TRUE);
  gtk_window_set_skip_pager_hint(window, TRUE);
  gtk_window_set_accept_focus(window, FALSE);
  gtk_window_set_focus_on_map(window, FALSE);
  gtk_window_set_gravity(window, GDK_GRAVITY_NORTH_WEST);
  gtk_widget_set_app_paintable(window_, TRUE);
  gtk_widget_add_events(window_,
                        GDK_BUTTON_PRESS_MASK | GDK_BUTTON_RELEASE_MASK | GDK_BUTTON1_MOTION_MASK);
  onScreenChanged(window_, nullptr, this);
}

void GtkHudPanel::connectSignals() {
  g_signal_connect(area_, "draw", G_CALLBACK(onDraw), this);
  g_signal_connect(window_, "button-press-event", G_CALLBACK(onPress), this);
  g_signal_connect(window_, "motion-notify-event", G_CALLBACK(onMotion), this);
  g_signal_connect(window_, "button-release-event", G_CALLBACK(onRelease), this);
  g_signal_connect(window_, "screen-changed", G_CALLBACK(onScreenChanged), this);
}

void GtkHudPanel::host(HUDModel &model) {
  unhost();
  model_ = &model;
  subscription_ = model.subscribe([this](HUDModel::Field) { gtk_widget_queue_draw(area_); });
  gtk_widget_queue_draw(area_);
}

// The frame is ours: the window manager is asked for exactly this place and size, and
// reports of where it put the window are not fed back (they lag behind a fast drag).
void GtkHudPanel::setFrame(Rect frame) {
  const bool moved = frame.origin != frame_.origin;
  const bool resized = frame.size != frame_.size;
  frame_ = frame;
  const GdkPoint topLeft = screens_.toRootTopLeft(frame);
  if (resized) {
    gtk_widget_set_size_request(area_, whole(frame.size.width), whole(frame.size.height));
    gtk_window_resize(GTK_WINDOW(window_), whole(frame.size.width), whole(frame.size.height));
    reshape();
  }
  moveWindow(topLeft);
  if (moved && events_.moved) events_.moved();
}

Size GtkHudPanel::fittingSize() {
  if (!model_) return {};
  return PillPainter::layout(PillContent::from(*model_)).size;
}

void GtkHudPanel::setCornerRadius(double radius) {
  if (radius == cornerRadius_) return;
  cornerRadius_ = radius;
  reshape();
  gtk_widget_queue_draw(area_);
}

// The material is painted by the pill itself; only a redraw is needed.
void GtkHudPanel::setBackdrop(HUDMaterial) {
  gtk_widget_queue_draw(area_);
}

bool GtkHudPanel::isVisible() const {
  return gtk_widget_get_visible(window_);
}

void GtkHudPanel::orderFront() {
  moveWindow(screens_.toRootTopLeft(frame_));
  gtk_widget_show_all(window_);
  if (GdkWindow *gdkWindow = gtk_widget_get_window(window_)) gdk_window_raise(gdkWindow);
}

void GtkHudPanel::moveWindow(GdkPoint topLeft) {
  gtk_window_move(GTK_WINDOW(window_), topLeft.x, topLeft.y);
}

void GtkHudPanel::orderOut() {
  gtk_widget_hide(window_);
}

// Without a compositor transparent pixels show as black, so the window itself takes the
// rounded outline. With one, the alpha channel does it and the shape is cleared.
void GtkHudPanel::reshape() {
  if (composited_) {
    gtk_widget_shape_combine_region(window_, nullptr);
    return;
  }
  const Size size{double(whole(frame_.size.width)), double(whole(frame_.size.height))};
  cairo_surface_t *mask =
      cairo_image_surface_create(CAIRO_FORMAT_A1, int(size.width), int(size.height));
  cairo_t *cr = cairo_create(mask);
  PillPainter::fillShape(cr, size, cornerRadius_);
  cairo_destroy(cr);
  cairo_region_t *region = gdk_cairo_region_create_from_surface(mask);
  gtk_widget_shape_combine_region(window_, region);
  cairo_region_destroy(region);
  cairo_surface_destroy(mask);
}

void GtkHudPanel::draw(cairo_t *cr) {
  if (!model_) return;
  const PillContent content = PillContent::from(*model_);
  PillLayout layout = PillPainter::layout(content);
  // Paint into the window's real size; the content is laid out from its top-left corner.
  layout.size = {double(gtk_widget_get_allocated_width(area_)),
                 double(gtk_widget_get_allocated_height(area_))};
  PillPainter::paint(cr, content, layout, cornerRadius_);
}

gboolean GtkHudPanel::onDraw(GtkWidget *, cairo_t *cr, gpointer self) {
  static_cast<GtkHudPanel *>(self)->draw(cr);
  return TRUE;
}

gboolean GtkHudPanel::onPress(GtkWidget *, GdkEventButton *event, gpointer self) {
  auto *panel = static_cast<GtkHudPanel *>(self);
  if (event->button != GDK_BUTTON_PRIMARY || event->type != GDK_BUTTON_PRESS) return FALSE;
  if (panel->events_.mouseDown)
    panel->events_.mouseDown(panel->pressPointer(event->x, event->y, event->x_root, event->y_root));
  return TRUE;
}

gboolean GtkHudPanel::onMotion(GtkWidget *, GdkEventMotion *event, gpointer self) {
  auto *panel = static_cast<GtkHudPanel *>(self);
  if (!(event->state & GDK_BUTTON1_MASK)) return FALSE;
  if (panel->events_.mouseDragged)
    panel->events_.mouseDragged(panel->pointer(event->x, event->y, event->x_root, event->y_root));
  return TRUE;
}

gboolean GtkHudPanel::onRelease(GtkWidget *, GdkEventButton *event, gpointer self) {
  auto *panel = static_cast<GtkHudPanel *>(self);
  if (event->button != GDK_BUTTON_PRIMARY) return FALSE;
  if (panel->events_.mouseUp) panel->events_.mouseUp();
  return TRUE;
}

void GtkHudPanel::onScreenChanged(GtkWidget *widget, GdkScreen *, gpointer self) {
  auto *panel = static_cast<GtkHudPanel *>(self);
  GdkScreen *screen = gtk_widget_get_screen(widget);
  GdkVisual *visual = gdk_screen_get_rgba_visual(screen);
  panel->composited_ = visual && gdk_screen_is_composited(screen);
  gtk_widget_set_visual(widget, panel->composited_ ? visual : nullptr);
  panel->reshape();
}

} // namespace selvar
