#pragma once
// A Wayland compositor of the test's own that offers only the core globals every compositor has
// (wl_compositor, wl_seat) and none of the protocols Selvar's Wayland adapters look for. It runs
// on a thread of the test process, listening in the given runtime folder; WAYLAND_DISPLAY and
// XDG_RUNTIME_DIR point at it while it lives.

#include <atomic>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <thread>

struct wl_display;

namespace selvar::testing {

class MinimalCompositor {
public:
  explicit MinimalCompositor(const std::filesystem::path &runtimeDir);
  ~MinimalCompositor();
  MinimalCompositor(const MinimalCompositor &) = delete;
  MinimalCompositor &operator=(const MinimalCompositor &) = delete;

  // Empty when the socket could not be made; the test should fail.
  const std::string &socketName() const { return socket_; }
  // How many clients have connected, over the compositor's life.
  int clients() const;
  struct ClientCount;

private:
  void run();

  wl_display *display_ = nullptr;
  std::string socket_;
  std::atomic<bool> stop_{false};
  std::unique_ptr<ClientCount> clients_;
  std::thread thread_;
  std::optional<std::string> previousDisplay_, previousRuntime_;
};

} // namespace selvar::testing
