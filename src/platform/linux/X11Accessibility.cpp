#include "platform/linux/X11Accessibility.h"

#include "platform/linux/X11Support.h"
#include "records/Log.h"

#include <fmt/format.h>

namespace selvar {

X11Accessibility::X11Accessibility() : display_(XOpenDisplay(nullptr)) {}

X11Accessibility::~X11Accessibility() {
  if (display_) XCloseDisplay(display_);
}

const X11WindowElement *X11Accessibility::windowOf(const ElementRef &element) const {
  auto *window = dynamic_cast<const X11WindowElement *>(element.get());
  return window && display_ && X11Windows::exists(display_, window->window) ? window : nullptr;
}

ElementRef X11Accessibility::focusedElement(int pid) {
  if (!display_) return nullptr;
  Window window = X11Windows::activeWindow(display_);
  if (X11Windows::processId(display_, window) != pid)
    window = X11Windows::frontWindowOf(display_, pid);
  if (window == None) return nullptr;
  return std::make_shared<X11WindowElement>(window, pid);
}

bool X11Accessibility::raise(const ElementRef &element) {
  const X11WindowElement *window = windowOf(element);
  if (!window) return false;
  X11Windows::requestActivation(display_, window->window);
  return true;
}

// The window manager acts on the request in its own time and may refuse it (focus-stealing
// prevention, a modal dialog), so the focus counts as restored only once it says so.
bool X11Accessibility::setFocusedElement(int pid, const ElementRef &element) {
  const X11WindowElement *window = windowOf(element);
  if (!window || window->pid != pid) return false;
  X11Windows::requestActivation(display_, window->window);
  if (X11Windows::awaitActive(display_, window->window, kActivationWaitMs)) return true;
  Log::write(fmt::format("insert: the window manager did not activate window 0x{:x} of pid {} "
                         "within {} ms",
                         window->window, pid, kActivationWaitMs));
  return false;
}

} // namespace selvar
