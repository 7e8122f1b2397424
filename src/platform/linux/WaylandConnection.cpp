#include "platform/linux/WaylandConnection.h"

#include "records/Log.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <wayland-client.h>

namespace selvar {

namespace {

void onGlobal(void *data, wl_registry *, std::uint32_t name, const char *interface,
              std::uint32_t version) {
  static_cast<WaylandConnection *>(data)->globals.push_back({name, interface, version});
}

void onGlobalRemove(void *data, wl_registry *, std::uint32_t name) {
  auto &globals = static_cast<WaylandConnection *>(data)->globals;
  std::erase_if(globals, [name](const auto &g) { return g.name == name; });
}

const wl_registry_listener registryListener{onGlobal, onGlobalRemove};

} // namespace

std::unique_ptr<WaylandConnection> WaylandConnection::open(const char *purpose) {
  wl_display *display = wl_display_connect(nullptr);
  if (!display) {
    Log::write(std::string("wayland: cannot connect to the compositor for ") + purpose + ": " +
               std::strerror(errno));
    return nullptr;
  }
  std::unique_ptr<WaylandConnection> connection(new WaylandConnection(display, purpose));
  connection->registry_ = wl_display_get_registry(display);
  wl_registry_add_listener(connection->registry_, &registryListener, connection.get());
  if (!connection->roundtrip()) return nullptr;
  return connection;
}

WaylandConnection::WaylandConnection(wl_display *display, std::string purpose)
    : display_(display), purpose_(std::move(purpose)) {}

WaylandConnection::~WaylandConnection() {
  if (registry_) wl_registry_destroy(registry_);
  wl_display_disconnect(display_);
}

bool WaylandConnection::offers(const wl_interface &interface) const {
  for (const auto &g : globals)
    if (g.interface == interface.name) return true;
  return false;
}

void *WaylandConnection::bind(const wl_interface &interface, std::uint32_t maxVersion) {
  for (const auto &g : globals)
    if (g.interface == interface.name)
      return wl_registry_bind(registry_, g.name, &interface, std::min(g.version, maxVersion));
  return nullptr;
}

bool WaylandConnection::roundtrip() {
  if (wl_display_roundtrip(display_) >= 0) return true;
  Log::write("wayland: the connection for " + purpose_ +
             " failed: " + std::strerror(wl_display_get_error(display_)));
  return false;
}

} // namespace selvar
