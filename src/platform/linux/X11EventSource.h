#pragma once
// A GLib main-loop source for a private Xlib connection. Every round trip on the connection (an
// XSync in an error trap, a property read, a keymap query) reads whatever events have arrived
// into Xlib's own queue, and then the socket is quiet: a plain watch on the socket would leave
// those events waiting until the server next sends something, seconds later or never. This
// source also looks at Xlib's queue before the loop sleeps and after it wakes.

#include <X11/Xlib.h>
#include <glib.h>

namespace selvar::X11EventSource {

// Attaches to the default main context; drain is called with data whenever events are pending
// and should read them all (XPending/XNextEvent). Returns the source id for g_source_remove.
guint add(Display *display, GSourceFunc drain, gpointer data);

} // namespace selvar::X11EventSource
