#pragma once
// Another application's keyboard focus through the accessibility API (AXUIElement).

#include "platform/Accessibility.h"

namespace selvar {

class AccessibilityAdapter : public Accessibility {
public:
  ElementRef focusedElement(int pid) override;
  ElementRef window(const ElementRef &element) override;
  bool raise(const ElementRef &window) override;
  bool setFocusedElement(int pid, const ElementRef &element) override;
};

} // namespace selvar
