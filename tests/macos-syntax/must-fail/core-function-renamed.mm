// A call to a core function under a name the core does not have.
#include "records/Log.h"

void logSomething() {
  selvar::Log::writeLine("hello");
}
