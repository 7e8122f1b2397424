#pragma once
// The focus anchor on X11. There is no accessibility tree to walk, so an application's focused
// element is its active top-level window (as the window manager reports it), and putting the
// focus back means asking the window manager to activate that window again.

#include "platform/Accessibility.h"

#include <X11/Xlib.h>

namespace selvar {

class X11WindowElement : public AccessibleElement {
public:
  X11WindowElement(Window window, int pid) : window(window), pid(pid) {}
  const Window window;
  const int pid;
};

class X11Accessibility : public Accessibility {
public:
  X11Accessibility();
  ~X11Accessibility() override;
  X11Accessibility(const X11Accessibility &) = delete;
  X11Accessibility &operator=(const X11Accessibility &) = delete;

  // The active window when the process owns it, else the process's front window.
  ElementRef focusedElement(int pid) override;
  // Elements are top-level windows already.
  ElementRef window(const ElementRef &element) override { return element; }
  bool raise(const ElementRef &window) override;
  // True once the window manager reports the element's window active.
  bool setFocusedElement(int pid, const ElementRef &element) override;

private:
  static constexpr int kActivationWaitMs = 250;
  const X11WindowElement *windowOf(const ElementRef &element) const;

  Display *display_;
};

} // namespace selvar
