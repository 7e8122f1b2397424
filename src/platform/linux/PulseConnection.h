#pragma once
// One connection to the PulseAudio server (PipeWire's Pulse server counts) on its own event
// thread, with blocking look-ups of the server's sources for callers on other threads. The
// connection is made on first use and made again after the server went away.

#include <cstdint>
#include <optional>
#include <pulse/context.h>
#include <pulse/thread-mainloop.h>
#include <string>
#include <vector>

namespace selvar {

struct PulseSource {
  std::uint32_t index = 0;
  std::string name;
  std::string description;
  std::string driver; // the module that made it, "module-echo-cancel.c" for example
  double sampleRate = 0;
  int channels = 0;
  bool isMonitor = false;
};

class PulseConnection {
public:
  explicit PulseConnection(std::string clientName);
  ~PulseConnection();
  PulseConnection(const PulseConnection &) = delete;
  PulseConnection &operator=(const PulseConnection &) = delete;

  // Holds the event thread's lock: needed around every call into the context or its streams.
  class Lock {
  public:
    explicit Lock(PulseConnection &c) : loop_(c.loop_) { pa_threaded_mainloop_lock(loop_); }
    ~Lock() { pa_threaded_mainloop_unlock(loop_); }
    Lock(const Lock &) = delete;
    Lock &operator=(const Lock &) = delete;

  private:
    pa_threaded_mainloop *loop_;
  };

  // Connects when needed; the reason when no server answers. Call with the lock held.
  std::optional<std::string> ensureConnected();
  // Look-ups, with the lock held; nothing when the server does not answer.
  std::optional<std::string> defaultSourceName();
  std::optional<PulseSource> source(const std::string &name);
  std::vector<PulseSource> sources();

  // Ends the connection; afterwards no callback of it runs. Call with the lock held.
  void disconnect() { dropContext(); }
  // Waits for the event thread's signal; call with the lock held.
  void wait() { pa_threaded_mainloop_wait(loop_); }
  void signal() { pa_threaded_mainloop_signal(loop_, 0); }
  // Waits until the operation is done or cancelled, then releases it.
  void await(pa_operation *operation);

  pa_context *context() const { return context_; }
  pa_threaded_mainloop *loop() const { return loop_; }

private:
  void dropContext();
  static void onState(pa_context *, void *self);

  std::string clientName_;
  pa_threaded_mainloop *loop_ = nullptr;
  pa_context *context_ = nullptr;
};

} // namespace selvar
