#include "platform/linux/MinimalCompositor.h"

#include <cstdlib>
#include <wayland-server.h>

namespace selvar::testing {

struct MinimalCompositor::ClientCount {
  wl_listener listener{};
  std::atomic<int> count{0};
  static void created(wl_listener *listener, void *) {
    ClientCount *self = wl_container_of(listener, self, listener);
    ++self->count;
  }
};

namespace {

// Clients get the objects they bind and nothing else: nothing here answers a request, and the
// adapters under test send none on these.
void bindGlobal(wl_client *client, std::uint32_t version, std::uint32_t id,
                const wl_interface *interface) {
  if (!wl_resource_create(client, interface, static_cast<int>(version), id))
    wl_client_post_no_memory(client);
}

void bindCompositor(wl_client *client, void *, std::uint32_t version, std::uint32_t id) {
  bindGlobal(client, version, id, &wl_compositor_interface);
}

void bindSeat(wl_client *client, void *, std::uint32_t version, std::uint32_t id) {
  bindGlobal(client, version, id, &wl_seat_interface);
}

std::optional<std::string> readEnv(const char *name) {
  const char *value = std::getenv(name);
  return value ? std::optional<std::string>(value) : std::nullopt;
}

void restoreEnv(const char *name, const std::optional<std::string> &value) {
  if (value)
    setenv(name, value->c_str(), 1);
  else
    unsetenv(name);
}

} // namespace

MinimalCompositor::MinimalCompositor(const std::filesystem::path &runtimeDir) {
  previousDisplay_ = readEnv("WAYLAND_DISPLAY");
  previousRuntime_ = readEnv("XDG_RUNTIME_DIR");
  setenv("XDG_RUNTIME_DIR", runtimeDir.c_str(), 1);
  display_ = wl_display_create();
  clients_ = std::make_unique<ClientCount>();
  clients_->listener.notify = ClientCount::created;
  wl_display_add_client_created_listener(display_, &clients_->listener);
  wl_global_create(display_, &wl_compositor_interface, 4, nullptr, bindCompositor);
  wl_global_create(display_, &wl_seat_interface, 5, nullptr, bindSeat);
  if (const char *name = wl_display_add_socket_auto(display_)) socket_ = name;
  setenv("WAYLAND_DISPLAY", socket_.empty() ? "wayland-none" : socket_.c_str(), 1);
  thread_ = std::thread([this] { run(); });
}

MinimalCompositor::~MinimalCompositor() {
  stop_ = true;
  thread_.join();
  wl_display_destroy_clients(display_);
  wl_display_destroy(display_);
  restoreEnv("WAYLAND_DISPLAY", previousDisplay_);
  restoreEnv("XDG_RUNTIME_DIR", previousRuntime_);
}

int MinimalCompositor::clients() const {
  return clients_->count.load();
}

// Wakes up every 20 ms to see whether the test is done with it.
void MinimalCompositor::run() {
  wl_event_loop *loop = wl_display_get_event_loop(display_);
  while (!stop_) {
    wl_event_loop_dispatch(loop, 20);
    wl_display_flush_clients(display_);
  }
}

} // namespace selvar::testing
