#include "platform/macos/AccessibilityAdapter.h"

#include "platform/macos/ObjCBridge.h"

#import <ApplicationServices/ApplicationServices.h>

namespace selvar {

namespace {

class AXElement : public AccessibleElement {
public:
  // Takes over a reference the caller owns.
  explicit AXElement(AXUIElementRef element) : element_(element) {}
  AXUIElementRef get() const { return element_.get(); }

private:
  CFOwned<AXUIElementRef> element_;
};

AXUIElementRef axElement(const ElementRef &element) {
  auto *ax = dynamic_cast<const AXElement *>(element.get());
  return ax ? ax->get() : nullptr;
}

// The attribute's value when it is itself an accessibility element.
ElementRef elementAttribute(AXUIElementRef owner, CFStringRef attribute) {
  CFTypeRef value = nullptr;
  if (AXUIElementCopyAttributeValue(owner, attribute, &value) != kAXErrorSuccess || !value)
    return nullptr;
  if (CFGetTypeID(value) != AXUIElementGetTypeID()) {
    CFRelease(value);
    return nullptr;
  }
  return std::make_shared<AXElement>(static_cast<AXUIElementRef>(value));
}

} // namespace

ElementRef AccessibilityAdapter::focusedElement(int pid) {
  CFOwned<AXUIElementRef> app(AXUIElementCreateApplication(pid));
  if (!app) return nullptr;
  return elementAttribute(app.get(), kAXFocusedUIElementAttribute);
}

ElementRef AccessibilityAdapter::window(const ElementRef &element) {
  AXUIElementRef ax = axElement(element);
  return ax ? elementAttribute(ax, kAXWindowAttribute) : nullptr;
}

bool AccessibilityAdapter::raise(const ElementRef &window) {
  AXUIElementRef ax = axElement(window);
  return ax && AXUIElementPerformAction(ax, kAXRaiseAction) == kAXErrorSuccess;
}

bool AccessibilityAdapter::setFocusedElement(int pid, const ElementRef &element) {
  AXUIElementRef ax = axElement(element);
  CFOwned<AXUIElementRef> app(AXUIElementCreateApplication(pid));
  if (!ax || !app) return false;
  return AXUIElementSetAttributeValue(app.get(), kAXFocusedUIElementAttribute, ax) ==
         kAXErrorSuccess;
}

} // namespace selvar
