#include "platform/fake/FakeProcessRunner.h"

namespace selvar {

namespace {

class FakeChild : public ChildProcess {
public:
  FakeChild(int pid, std::shared_ptr<bool> running) : pid_(pid), running_(std::move(running)) {}
  int pid() const override { return pid_; }
  bool isRunning() override { return *running_; }
  void terminate(double) override { *running_ = false; }

private:
  int pid_;
  std::shared_ptr<bool> running_;
};

} // namespace

LaunchResult FakeProcessRunner::launch(const ProcessSpec &spec) {
  std::lock_guard lock(mutex_);
  launches_.push_back(spec);
  if (failure_) return {nullptr, *failure_};
  return {std::make_unique<FakeChild>(40000 + static_cast<int>(launches_.size()), running), {}};
}

std::vector<ProcessSpec> FakeProcessRunner::launches() const {
  std::lock_guard lock(mutex_);
  return launches_;
}

void FakeProcessRunner::failWith(std::string error) {
  std::lock_guard lock(mutex_);
  failure_ = std::move(error);
}

} // namespace selvar
