#pragma once
// Child processes through posix_spawn: output appended to a file, standard input from
// /dev/null, no other descriptor inherited, and a process group of its own so that stopping
// it also stops whatever it started.

#include "platform/ProcessRunner.h"

namespace selvar {

class PosixProcessRunner : public ProcessRunner {
public:
  LaunchResult launch(const ProcessSpec &spec) override;
};

} // namespace selvar
