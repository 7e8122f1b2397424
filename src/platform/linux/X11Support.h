#pragma once
// Small Xlib helpers shared by the X11 adapters: an error trap for calls that may hit a window
// that just went away, and the EWMH reads and requests (active window, window process, class,
// client list, activation) that stand in for an application's identity on X11.

#include <X11/Xlib.h>
#include <optional>
#include <string>
#include <vector>

namespace selvar {

// Catches X errors on one display from construction to finish(); errors on other displays go
// to the handler that was installed before. Main thread only; traps nest on one display.
class X11ErrorTrap {
public:
  explicit X11ErrorTrap(Display *display);
  ~X11ErrorTrap();
  X11ErrorTrap(const X11ErrorTrap &) = delete;
  X11ErrorTrap &operator=(const X11ErrorTrap &) = delete;
  // Waits for the server to process every request so far; true when one of them failed.
  bool finish();
  // How many requests failed (after finishing).
  int errors();

private:
  Display *display_;
  bool outer_;
  bool finished_ = false;
  int errors_ = 0;
};

namespace X11Windows {

Atom atom(Display *display, const char *name);
std::string atomName(Display *display, Atom atom);
// The window the window manager calls active; None when there is none.
Window activeWindow(Display *display);
std::optional<int> processId(Display *display, Window window);
// The class half of WM_CLASS ("XTerm", "Gnome-terminal"); empty when unset.
std::string windowClass(Display *display, Window window);
// The managed top-level windows, oldest first.
std::vector<Window> clientList(Display *display);
// The newest managed window of the process; None when it has none.
Window newestWindowOf(Display *display, int pid);
// The process's window highest in the window manager's stacking order, the one its user
// worked in last; its newest window when the window manager keeps no stacking list.
Window frontWindowOf(Display *display, int pid);
bool exists(Display *display, Window window);
// Asks the window manager to activate (raise and focus) the window, as a pager would, so that
// focus-stealing prevention lets it through.
void requestActivation(Display *display, Window window);
// Waits until the window manager reports the window active, at most timeoutMs; true when it
// does. Uses the display's event queue for the wait and leaves it empty.
bool awaitActive(Display *display, Window window, int timeoutMs);

} // namespace X11Windows

} // namespace selvar
