#include "platform/fake/FakeAccessibility.h"

namespace selvar {

ElementRef FakeAccessibility::focusedElement(int pid) {
  auto it = focused.find(pid);
  return it == focused.end() ? nullptr : it->second;
}

ElementRef FakeAccessibility::window(const ElementRef &element) {
  auto *fake = dynamic_cast<const FakeElement *>(element.get());
  return fake ? fake->window : nullptr;
}

bool FakeAccessibility::raise(const ElementRef &window) {
  if (!window) return false;
  raisedWindows.push_back(nameOf(window));
  return true;
}

bool FakeAccessibility::setFocusedElement(int pid, const ElementRef &element) {
  if (failSetFocus || !element) return false;
  focused[pid] = element;
  focusChanges.emplace_back(pid, nameOf(element));
  return true;
}

ElementRef FakeAccessibility::addFocusedField(int pid, const std::string &name) {
  auto window = std::make_shared<FakeElement>(name + " window");
  auto field = std::make_shared<FakeElement>(name, window);
  focused[pid] = field;
  return field;
}

std::string FakeAccessibility::nameOf(const ElementRef &element) {
  auto *fake = dynamic_cast<const FakeElement *>(element.get());
  return fake ? fake->name : std::string();
}

} // namespace selvar
