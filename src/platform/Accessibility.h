#pragma once
// Reading and moving another application's keyboard focus through the accessibility API.
// Every call fails quietly (nothing, or false) without the accessibility grant.

#include <memory>

namespace selvar {

// An opaque handle on a UI element of some application; the platform subclasses it.
class AccessibleElement {
public:
  virtual ~AccessibleElement() = default;
};
using ElementRef = std::shared_ptr<const AccessibleElement>;

class Accessibility {
public:
  virtual ~Accessibility() = default;
  // The application's focused UI element; nothing when the call fails.
  virtual ElementRef focusedElement(int pid) = 0;
  // The window that holds the element; nothing when the call fails.
  virtual ElementRef window(const ElementRef &element) = 0;
  // Brings the window to the front of its application.
  virtual bool raise(const ElementRef &window) = 0;
  // Makes element the application's focused UI element.
  virtual bool setFocusedElement(int pid, const ElementRef &element) = 0;
};

} // namespace selvar
