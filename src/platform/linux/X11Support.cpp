#include "platform/linux/X11Support.h"

#include <X11/Xatom.h>
#include <X11/Xutil.h>
#include <chrono>
#include <fstream>
#include <poll.h>

namespace selvar {

namespace {

Display *trappedDisplay = nullptr;
int trappedErrors = 0;
int (*previousHandler)(Display *, XErrorEvent *) = nullptr;

int trapHandler(Display *display, XErrorEvent *event) {
  if (display == trappedDisplay) {
    ++trappedErrors;
    return 0;
  }
  return previousHandler ? previousHandler(display, event) : 0;
}

// One property as a list of 32-bit items (Xlib hands them over as longs).
std::vector<unsigned long> cardinals(Display *display, Window window, const char *name, Atom type) {
  std::vector<unsigned long> out;
  Atom actualType;
  int format;
  unsigned long count, remaining;
  unsigned char *data = nullptr;
  X11ErrorTrap trap(display);
  const int status =
      XGetWindowProperty(display, window, X11Windows::atom(display, name), 0, 4096, False, type,
                         &actualType, &format, &count, &remaining, &data);
  if (status == Success && data && format == 32) {
    auto *items = reinterpret_cast<unsigned long *>(data);
    out.assign(items, items + count);
  }
  if (data) XFree(data);
  trap.finish();
  return out;
}

} // namespace

// An inner trap on the same display shares the outer one's handler and flag.
X11ErrorTrap::X11ErrorTrap(Display *display)
    : display_(display), outer_(trappedDisplay == nullptr) {
  XSync(display_, False);
  if (!outer_) return;
  trappedDisplay = display_;
  trappedErrors = 0;
  previousHandler = XSetErrorHandler(trapHandler);
}

int X11ErrorTrap::errors() {
  finish();
  return errors_;
}

bool X11ErrorTrap::finish() {
  if (finished_) return errors_ > 0;
  XSync(display_, False);
  errors_ = trappedErrors;
  finished_ = true;
  if (outer_) {
    XSetErrorHandler(previousHandler);
    trappedDisplay = nullptr;
  }
  return errors_ > 0;
}

X11ErrorTrap::~X11ErrorTrap() {
  finish();
}

namespace X11Windows {

Atom atom(Display *display, const char *name) {
  return XInternAtom(display, name, False);
}

std::string atomName(Display *display, Atom atom) {
  if (atom == None) return {};
  X11ErrorTrap trap(display);
  char *name = XGetAtomName(display, atom);
  trap.finish();
  std::string out = name ? name : "";
  if (name) XFree(name);
  return out;
}

Window activeWindow(Display *display) {
  auto items = cardinals(display, DefaultRootWindow(display), "_NET_ACTIVE_WINDOW", XA_WINDOW);
  return items.empty() ? None : Window(items.front());
}

std::optional<int> processId(Display *display, Window window) {
  if (window == None) return std::nullopt;
  auto items = cardinals(display, window, "_NET_WM_PID", XA_CARDINAL);
  if (items.empty()) return std::nullopt;
  return int(items.front());
}

std::string windowClass(Display *display, Window window) {
  if (window == None) return {};
  XClassHint hint{};
  X11ErrorTrap trap(display);
  const Status ok = XGetClassHint(display, window, &hint);
  trap.finish();
  std::string out = ok && hint.res_class ? hint.res_class : "";
  if (hint.res_name) XFree(hint.res_name);
  if (hint.res_class) XFree(hint.res_class);
  return out;
}

std::vector<Window> clientList(Display *display) {
  std::vector<Window> out;
  for (unsigned long w :
       cardinals(display, DefaultRootWindow(display), "_NET_CLIENT_LIST", XA_WINDOW))
    out.push_back(Window(w));
  return out;
}

Window newestWindowOf(Display *display, int pid) {
  const auto clients = clientList(display);
  for (auto it = clients.rbegin(); it != clients.rend(); ++it)
    if (processId(display, *it) == pid) return *it;
  return None;
}

Window frontWindowOf(Display *display, int pid) {
  const auto stacking =
      cardinals(display, DefaultRootWindow(display), "_NET_CLIENT_LIST_STACKING", XA_WINDOW);
  if (stacking.empty()) return newestWindowOf(display, pid);
  for (auto it = stacking.rbegin(); it != stacking.rend(); ++it)
    if (processId(display, Window(*it)) == pid) return Window(*it);
  return None;
}

bool exists(Display *display, Window window) {
  if (window == None) return false;
  XWindowAttributes attributes;
  X11ErrorTrap trap(display);
  const Status ok = XGetWindowAttributes(display, window, &attributes);
  return !trap.finish() && ok;
}

void requestActivation(Display *display, Window window) {
  XEvent event{};
  event.xclient.type = ClientMessage;
  event.xclient.window = window;
  event.xclient.message_type = atom(display, "_NET_ACTIVE_WINDOW");
  event.xclient.format = 32;
  event.xclient.data.l[0] = 2; // source: a pager, which window managers obey
  event.xclient.data.l[1] = CurrentTime;
  X11ErrorTrap trap(display);
  XRaiseWindow(display, window);
  XSendEvent(display, DefaultRootWindow(display), False,
             SubstructureRedirectMask | SubstructureNotifyMask, &event);
  trap.finish();
}

bool awaitActive(Display *display, Window window, int timeoutMs) {
  const Window root = DefaultRootWindow(display);
  const Atom active = atom(display, "_NET_ACTIVE_WINDOW");
  XSelectInput(display, root, PropertyChangeMask);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  bool done = activeWindow(display) == window;
  while (!done) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) break;
    if (!XPending(display)) {
      pollfd fd{ConnectionNumber(display), POLLIN, 0};
      poll(&fd, 1, int(left.count()));
    }
    bool changed = false;
    while (XPending(display)) {
      XEvent event;
      XNextEvent(display, &event);
      changed |= event.type == PropertyNotify && event.xproperty.atom == active;
    }
    if (changed) done = activeWindow(display) == window;
  }
  // The connection has no one else to drain its queue: stop listening and drop what came.
  XSelectInput(display, root, NoEventMask);
  XSync(display, True);
  return done;
}

} // namespace X11Windows

} // namespace selvar
