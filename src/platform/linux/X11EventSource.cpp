#include "platform/linux/X11EventSource.h"

namespace selvar::X11EventSource {

namespace {

struct Source {
  GSource base; // first: GLib hands the functions below a pointer to it
  Display *display;
  GPollFD poll;
};

Display *displayOf(GSource *source) {
  return reinterpret_cast<Source *>(source)->display;
}

// XPending also flushes requests still in Xlib's buffer, such as a grab made a moment ago.
gboolean prepare(GSource *source, gint *timeout) {
  *timeout = -1;
  return XPending(displayOf(source)) > 0;
}

gboolean check(GSource *source) {
  auto *self = reinterpret_cast<Source *>(source);
  if (self->poll.revents & (G_IO_HUP | G_IO_ERR)) return TRUE; // let the drain see the loss
  return XPending(self->display) > 0;
}

gboolean dispatch(GSource *, GSourceFunc drain, gpointer data) {
  return drain ? drain(data) : G_SOURCE_REMOVE;
}

GSourceFuncs functions = {prepare, check, dispatch, nullptr, nullptr, nullptr};

} // namespace

guint add(Display *display, GSourceFunc drain, gpointer data) {
  GSource *source = g_source_new(&functions, sizeof(Source));
  auto *self = reinterpret_cast<Source *>(source);
  self->display = display;
  self->poll = {ConnectionNumber(display), G_IO_IN | G_IO_HUP | G_IO_ERR, 0};
  g_source_add_poll(source, &self->poll);
  g_source_set_callback(source, drain, data, nullptr);
  const guint id = g_source_attach(source, nullptr);
  g_source_unref(source);
  return id;
}

} // namespace selvar::X11EventSource
