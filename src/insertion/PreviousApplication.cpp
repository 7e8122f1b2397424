#include "insertion/PreviousApplication.h"

#include <mutex>

namespace selvar::PreviousApplication {

namespace {
std::mutex mutex;
Source &source() {
  static Source s;
  return s;
}
} // namespace

void setSource(Source s) {
  std::lock_guard lock(mutex);
  source() = std::move(s);
}

std::optional<RunningApp> current() {
  Source s;
  {
    std::lock_guard lock(mutex);
    s = source();
  }
  return s ? s() : std::nullopt;
}

} // namespace selvar::PreviousApplication
