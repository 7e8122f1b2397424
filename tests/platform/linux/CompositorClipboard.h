#pragma once
// The clipboard of the test compositor, served through ext-data-control-v1: one selection,
// owned by a client's source or by the compositor itself (standing in for another client that
// copied), announced to every data-control device with a fresh offer whenever it changes.
// Everything here runs on the compositor's thread.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

struct wl_display;
struct wl_resource;

namespace selvar::testing {

class CompositorClipboard {
public:
  explicit CompositorClipboard(wl_display *display);

  // The compositor takes the clipboard with these types and contents.
  void own(const std::map<std::string, std::string> &contents);
  // The selection's types, in the order offered; nothing while the clipboard is empty.
  std::optional<std::vector<std::string>> types() const;
  // Asks the owner to write `type` into fd (left open for the caller to close); false without
  // a selection or when it does not hold that type.
  bool deliver(const std::string &type, int fd);
  // Stops announcing changes: the display is tearing its clients down.
  void shutDown() { closing_ = true; }

  // Requests from clients.
  void addDevice(wl_resource *device);
  void removeDevice(wl_resource *device);
  void setSelection(wl_resource *source);
  void sourceGone(wl_resource *source);
  void receive(std::uint64_t generation, const std::string &type, int fd);

private:
  struct Selection {
    wl_resource *source = nullptr; // a client's; nullptr when the compositor owns it
    std::vector<std::string> types;
    std::map<std::string, std::string> contents; // the compositor's own
  };
  void announce(wl_resource *device);
  void replace(std::optional<Selection> next);

  std::optional<Selection> selection_;
  std::uint64_t generation_ = 0;
  std::vector<wl_resource *> devices_;
  bool closing_ = false;
};

} // namespace selvar::testing
