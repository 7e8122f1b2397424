#include "feedback/FeedbackSubmitter.h"
#include "platform/Services.h"

namespace selvar::FeedbackSubmitter {

SystemInfo currentSystemInfo() {
  if (const auto *source = services().systemInfo) return source->current();
  SystemInfo info;
  info.appVersion = SELVAR_VERSION;
  return info;
}

} // namespace selvar::FeedbackSubmitter
