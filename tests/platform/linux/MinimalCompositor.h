#pragma once
// A Wayland compositor of the test's own that offers the core globals every compositor has
// (wl_compositor, wl_seat) and, when asked, a clipboard through ext-data-control-v1 and an
// advertisement of wlroots' data-control (bound, it only fails the client), but none of the
// other protocols Selvar's Wayland adapters look for. It runs on a thread of the test process,
// listening in the given runtime folder; WAYLAND_DISPLAY and XDG_RUNTIME_DIR point at it while
// it lives.

#include <atomic>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

struct wl_display;

namespace selvar::testing {

class CompositorClipboard;

class MinimalCompositor {
public:
  struct Protocols {
    bool extDataControl = false;
    bool wlrDataControl = false;
  };
  explicit MinimalCompositor(const std::filesystem::path &runtimeDir);
  MinimalCompositor(const std::filesystem::path &runtimeDir, Protocols protocols);
  ~MinimalCompositor();
  MinimalCompositor(const MinimalCompositor &) = delete;
  MinimalCompositor &operator=(const MinimalCompositor &) = delete;

  // Empty when the socket could not be made; the test should fail.
  const std::string &socketName() const { return socket_; }
  // How many clients have connected, over the compositor's life.
  int clients() const;
  // How many times a client bound wlroots' data-control.
  int wlrDataControlBinds() const { return wlrBinds_.load(); }

  // The ext-data-control clipboard as the compositor sees it. Each call waits for the
  // compositor's thread.
  // The compositor takes the clipboard, as another client copying would.
  void own(const std::map<std::string, std::string> &contents);
  // The selection's types; nothing while the clipboard is empty.
  std::optional<std::vector<std::string>> selectionTypes();
  // What the selection's owner hands over for `type`, read as a pasting client would; nothing
  // without a selection of that type or when it does not finish within two seconds. `pump`
  // lets the test's own clients dispatch meanwhile, since the owner may be one of them.
  std::optional<std::string> readSelection(const std::string &type,
                                           const std::function<void()> &pump);

  struct ClientCount;

private:
  void run();
  void call(const std::function<void()> &task);
  void runTasks();

  wl_display *display_ = nullptr;
  std::string socket_;
  std::atomic<bool> stop_{false};
  std::unique_ptr<ClientCount> clients_;
  std::unique_ptr<CompositorClipboard> clipboard_;
  std::atomic<int> wlrBinds_{0};
  int wake_ = -1; // eventfd: tasks are waiting
  std::mutex tasksMutex_;
  std::vector<std::function<void()>> tasks_;
  std::thread thread_;
  std::optional<std::string> previousDisplay_, previousRuntime_;
};

} // namespace selvar::testing
