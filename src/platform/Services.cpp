#include "platform/Services.h"

namespace selvar {

namespace {
Services &storage() {
  static Services s;
  return s;
}
} // namespace

Services &services() {
  return storage();
}
void installServices(const Services &s) {
  storage() = s;
}

} // namespace selvar
