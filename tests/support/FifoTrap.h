#pragma once
// Runs code that must not block on a FIFO standing where a file belongs. Should it block after
// all, the trap opens the FIFO's other end so the call returns and the test fails instead of
// hanging the whole run.

#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <future>
#include <sys/stat.h>
#include <unistd.h>

namespace selvar::testing {

inline bool makeFifo(const std::filesystem::path &path) {
  return ::mkfifo(path.c_str(), 0600) == 0;
}

// True when `call` finished on its own; false when the trap had to free it.
inline bool returnsWithoutBlocking(const std::filesystem::path &fifo,
                                   const std::function<void()> &call) {
  auto done = std::async(std::launch::async, call);
  if (done.wait_for(std::chrono::seconds(5)) == std::future_status::ready) return true;
  // A blocked reader gets end-of-file; a blocked writer finds a reader that takes what fits
  // in the pipe while the trap holds its end open.
  int reader = ::open(fifo.c_str(), O_RDONLY | O_NONBLOCK);
  int writer = ::open(fifo.c_str(), O_WRONLY | O_NONBLOCK);
  if (writer >= 0) ::close(writer);
  done.wait();
  if (reader >= 0) ::close(reader);
  return false;
}

} // namespace selvar::testing
