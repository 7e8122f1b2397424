#pragma once
// A private Xvfb for the tests of the X11 adapters, so that they run wherever Xvfb is installed
// and never touch the developer's own session. DISPLAY points at it while it lives.

#include <optional>
#include <string>
#include <sys/types.h>

namespace selvar::testing {

class PrivateXServer {
public:
  PrivateXServer();
  ~PrivateXServer();
  PrivateXServer(const PrivateXServer &) = delete;
  PrivateXServer &operator=(const PrivateXServer &) = delete;

  // Empty when Xvfb is missing or did not start; the test should skip.
  const std::string &name() const { return name_; }

private:
  pid_t pid_ = -1;
  std::string name_;
  std::optional<std::string> previousDisplay_;
};

} // namespace selvar::testing
