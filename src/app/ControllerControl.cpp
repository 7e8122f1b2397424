#include "app/ControllerControl.h"

#include "dictation/FailedRecordings.h"

namespace selvar {

namespace {
std::optional<std::filesystem::path> newestKept(const DictationController &controller) {
  if (auto last = controller.lastFailedRecording()) return last;
  auto kept = FailedRecordings::list();
  if (kept.empty()) return std::nullopt;
  return kept.front();
}
} // namespace

bool ControllerControl::hasFailedRecording() const {
  return newestKept(controller_).has_value();
}

void ControllerControl::retryFailedRecording(RetryDone done) {
  auto wav = newestKept(controller_);
  if (!wav) {
    if (done) done(false, "no failed recording is kept");
    return;
  }
  controller_.retryFailedRecording(*wav, std::move(done));
}

} // namespace selvar
