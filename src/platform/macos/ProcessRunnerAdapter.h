#pragma once
// Child processes through NSTask, their output appended to a file, stopped with their process
// group where they lead one.

#include "platform/ProcessRunner.h"

namespace selvar {

class ProcessRunnerAdapter : public ProcessRunner {
public:
  LaunchResult launch(const ProcessSpec &spec) override;
};

} // namespace selvar
