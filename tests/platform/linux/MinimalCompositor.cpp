#include "platform/linux/MinimalCompositor.h"

#include "platform/linux/CompositorClipboard.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <future>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <wayland-server.h>

// From the client code generated for the same protocol: the interface description is shared.
extern "C" const wl_interface zwlr_data_control_manager_v1_interface;

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

// Advertised so that a client can prefer the standard protocol over it; a client that binds it
// anyway is cut off, which fails its test.
void bindWlrDataControl(wl_client *client, void *data, std::uint32_t version, std::uint32_t id) {
  ++*static_cast<std::atomic<int> *>(data);
  wl_resource *manager = wl_resource_create(client, &zwlr_data_control_manager_v1_interface,
                                            static_cast<int>(version), id);
  if (!manager) return wl_client_post_no_memory(client);
  wl_resource_post_error(manager, 0, "this compositor serves only ext-data-control-v1");
}

int onWake(int fd, std::uint32_t, void *data) {
  std::uint64_t count;
  if (read(fd, &count, sizeof count) < 0) return 0;
  static_cast<std::function<void()> *>(data)->operator()();
  return 0;
}

// Everything until end of file, or nothing when the writer has not finished within two seconds.
std::optional<std::string> readBounded(int fd) {
  std::string bytes;
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
  while (true) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                    deadline - std::chrono::steady_clock::now())
                    .count();
    pollfd p{fd, POLLIN, 0};
    if (left <= 0 || poll(&p, 1, static_cast<int>(left)) <= 0) return std::nullopt;
    char chunk[4096];
    ssize_t n = read(fd, chunk, sizeof chunk);
    if (n == 0) return bytes;
    if (n < 0 && errno != EINTR) return std::nullopt;
    if (n > 0) bytes.append(chunk, static_cast<std::size_t>(n));
  }
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

MinimalCompositor::MinimalCompositor(const std::filesystem::path &runtimeDir)
    : MinimalCompositor(runtimeDir, Protocols{}) {}

MinimalCompositor::MinimalCompositor(const std::filesystem::path &runtimeDir, Protocols protocols) {
  previousDisplay_ = readEnv("WAYLAND_DISPLAY");
  previousRuntime_ = readEnv("XDG_RUNTIME_DIR");
  setenv("XDG_RUNTIME_DIR", runtimeDir.c_str(), 1);
  display_ = wl_display_create();
  clients_ = std::make_unique<ClientCount>();
  clients_->listener.notify = ClientCount::created;
  wl_display_add_client_created_listener(display_, &clients_->listener);
  wl_global_create(display_, &wl_compositor_interface, 4, nullptr, bindCompositor);
  wl_global_create(display_, &wl_seat_interface, 5, nullptr, bindSeat);
  if (protocols.extDataControl) clipboard_ = std::make_unique<CompositorClipboard>(display_);
  if (protocols.wlrDataControl)
    wl_global_create(display_, &zwlr_data_control_manager_v1_interface, 2, &wlrBinds_,
                     bindWlrDataControl);
  wake_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (const char *name = wl_display_add_socket_auto(display_)) socket_ = name;
  setenv("WAYLAND_DISPLAY", socket_.empty() ? "wayland-none" : socket_.c_str(), 1);
  thread_ = std::thread([this] { run(); });
}

MinimalCompositor::~MinimalCompositor() {
  stop_ = true;
  thread_.join();
  if (clipboard_) clipboard_->shutDown();
  wl_display_destroy_clients(display_);
  wl_display_destroy(display_);
  restoreEnv("WAYLAND_DISPLAY", previousDisplay_);
  restoreEnv("XDG_RUNTIME_DIR", previousRuntime_);
  close(wake_);
}

int MinimalCompositor::clients() const {
  return clients_->count.load();
}

void MinimalCompositor::call(const std::function<void()> &task) {
  std::promise<void> done;
  {
    std::lock_guard lock(tasksMutex_);
    tasks_.push_back([&] {
      task();
      done.set_value();
    });
  }
  std::uint64_t one = 1;
  if (write(wake_, &one, sizeof one) < 0) {
    // The loop still runs the task within its 20 ms wake-up.
  }
  done.get_future().wait();
}

void MinimalCompositor::runTasks() {
  std::vector<std::function<void()>> tasks;
  {
    std::lock_guard lock(tasksMutex_);
    tasks.swap(tasks_);
  }
  for (auto &task : tasks)
    task();
}

void MinimalCompositor::own(const std::map<std::string, std::string> &contents) {
  call([&] { clipboard_->own(contents); });
}

std::optional<std::vector<std::string>> MinimalCompositor::selectionTypes() {
  std::optional<std::vector<std::string>> types;
  call([&] { types = clipboard_->types(); });
  return types;
}

// The compositor's own contents are written on its thread, so the pipe is drained on another
// from the start; a client owner writes when `pump` dispatches it.
std::optional<std::string> MinimalCompositor::readSelection(const std::string &type,
                                                            const std::function<void()> &pump) {
  int fds[2];
  if (pipe2(fds, O_CLOEXEC) != 0) return std::nullopt;
  int finished = eventfd(0, EFD_CLOEXEC);
  std::optional<std::string> bytes;
  std::thread reader([&] {
    bytes = readBounded(fds[0]);
    std::uint64_t one = 1;
    if (write(finished, &one, sizeof one) < 0) return;
  });
  bool sent = false;
  call([&] { sent = clipboard_->deliver(type, fds[1]); });
  close(fds[1]);
  for (pollfd p{finished, POLLIN, 0}; poll(&p, 1, 5) == 0;)
    pump();
  reader.join();
  close(fds[0]);
  close(finished);
  return sent ? bytes : std::nullopt;
}

// Wakes up every 20 ms to see whether the test is done with it, and at once for its tasks.
void MinimalCompositor::run() {
  wl_event_loop *loop = wl_display_get_event_loop(display_);
  std::function<void()> tasks = [this] { runTasks(); };
  wl_event_source *wake = wl_event_loop_add_fd(loop, wake_, WL_EVENT_READABLE, onWake, &tasks);
  while (!stop_) {
    wl_event_loop_dispatch(loop, 20);
    runTasks();
    wl_display_flush_clients(display_);
  }
  wl_event_source_remove(wake);
}

} // namespace selvar::testing
