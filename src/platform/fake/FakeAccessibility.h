#pragma once
// Accessibility for tests: each process has a focused element (with or without a window), and
// every raise and focus change is recorded.

#include "platform/Accessibility.h"

#include <map>
#include <string>
#include <vector>

namespace selvar {

class FakeElement : public AccessibleElement {
public:
  explicit FakeElement(std::string name, ElementRef window = nullptr)
      : name(std::move(name)), window(std::move(window)) {}
  std::string name;
  ElementRef window;
};

class FakeAccessibility : public Accessibility {
public:
  ElementRef focusedElement(int pid) override;
  ElementRef window(const ElementRef &element) override;
  bool raise(const ElementRef &window) override;
  bool setFocusedElement(int pid, const ElementRef &element) override;

  // Gives the process a focused text field inside a window; returns the field.
  ElementRef addFocusedField(int pid, const std::string &name);
  static std::string nameOf(const ElementRef &element);

  std::map<int, ElementRef> focused;
  bool failSetFocus = false;
  std::vector<std::string> raisedWindows;
  std::vector<std::pair<int, std::string>> focusChanges;
};

} // namespace selvar
