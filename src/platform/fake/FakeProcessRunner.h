#pragma once
// A process runner for tests: records every launch and hands back a pretend process (or the
// failure the test asked for) without starting anything.

#include "platform/ProcessRunner.h"

#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace selvar {

class FakeProcessRunner : public ProcessRunner {
public:
  LaunchResult launch(const ProcessSpec &spec) override;

  std::vector<ProcessSpec> launches() const;
  // The next launches fail with this error.
  void failWith(std::string error);
  // Whether the pretend processes are running; terminate() clears it.
  std::shared_ptr<bool> running = std::make_shared<bool>(true);

private:
  mutable std::mutex mutex_;
  std::vector<ProcessSpec> launches_;
  std::optional<std::string> failure_;
};

} // namespace selvar
