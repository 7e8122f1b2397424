#pragma once
// A connection of Selvar's own to the compositor, apart from GTK's, for the protocols GTK does
// not speak. It learns the offered globals once, at open.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct wl_display;
struct wl_registry;
struct wl_interface;

namespace selvar {

class WaylandConnection {
public:
  // Nothing, with a log line saying why, when there is no compositor to talk to.
  static std::unique_ptr<WaylandConnection> open(const char *purpose);
  ~WaylandConnection();
  WaylandConnection(const WaylandConnection &) = delete;
  WaylandConnection &operator=(const WaylandConnection &) = delete;

  wl_display *display() const { return display_; }
  bool offers(const wl_interface &interface) const;
  // Binds the first global of that interface at the lower of its version and maxVersion;
  // nothing when it is not offered.
  void *bind(const wl_interface &interface, std::uint32_t maxVersion);
  // Sends what is queued and waits for the compositor to have handled it. False, with a log
  // line, when the connection has failed.
  bool roundtrip();

  struct Global {
    std::uint32_t name;
    std::string interface;
    std::uint32_t version;
  };
  std::vector<Global> globals; // filled by the registry listener

private:
  WaylandConnection(wl_display *display, std::string purpose);

  wl_display *display_;
  wl_registry *registry_ = nullptr;
  std::string purpose_;
};

} // namespace selvar
