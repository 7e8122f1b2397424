#include "platform/linux/WaylandToplevels.h"

#include "platform/linux/WaylandConnection.h"
#include "records/Log.h"
#include "wlr-foreign-toplevel-management-unstable-v1-client-protocol.h"

#include <cstdint>
#include <glib-unix.h>
#include <map>
#include <wayland-client.h>

namespace selvar {

namespace {

// Handles are destroyed when their window closes, so an anchor holds a number, never one.
class ToplevelElement : public AccessibleElement {
public:
  explicit ToplevelElement(std::uint64_t id) : id(id) {}
  const std::uint64_t id;
};

struct Toplevel {
  std::uint64_t id = 0;
  std::string appId;
  std::string title;
  bool activated = false;
};

} // namespace

struct WaylandToplevels::State {
  std::unique_ptr<WaylandConnection> connection;
  wl_seat *seat = nullptr;
  zwlr_foreign_toplevel_manager_v1 *manager = nullptr;
  std::map<zwlr_foreign_toplevel_handle_v1 *, Toplevel> toplevels;
  std::uint64_t nextId = 1;
  std::optional<std::string> unavailable;
  guint watch = 0;

  zwlr_foreign_toplevel_handle_v1 *find(std::uint64_t id) const {
    for (const auto &[handle, toplevel] : toplevels)
      if (toplevel.id == id) return handle;
    return nullptr;
  }
};

namespace {

using State = WaylandToplevels::State;

Toplevel &toplevelOf(void *data, zwlr_foreign_toplevel_handle_v1 *handle) {
  return static_cast<State *>(data)->toplevels[handle];
}

void onTitle(void *data, zwlr_foreign_toplevel_handle_v1 *handle, const char *title) {
  toplevelOf(data, handle).title = title;
}

void onAppId(void *data, zwlr_foreign_toplevel_handle_v1 *handle, const char *appId) {
  toplevelOf(data, handle).appId = appId;
}

void onOutput(void *, zwlr_foreign_toplevel_handle_v1 *, wl_output *) {}

void onState(void *data, zwlr_foreign_toplevel_handle_v1 *handle, wl_array *states) {
  bool activated = false;
  const auto *begin = static_cast<const std::uint32_t *>(states->data);
  for (std::size_t i = 0; i < states->size / sizeof(std::uint32_t); ++i)
    activated = activated || begin[i] == ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_ACTIVATED;
  toplevelOf(data, handle).activated = activated;
}

void onDone(void *, zwlr_foreign_toplevel_handle_v1 *) {}

void onClosed(void *data, zwlr_foreign_toplevel_handle_v1 *handle) {
  static_cast<State *>(data)->toplevels.erase(handle);
  zwlr_foreign_toplevel_handle_v1_destroy(handle);
}

void onParent(void *, zwlr_foreign_toplevel_handle_v1 *, zwlr_foreign_toplevel_handle_v1 *) {}

const zwlr_foreign_toplevel_handle_v1_listener handleListener{onTitle, onAppId, onOutput, onOutput,
                                                              onState, onDone,  onClosed, onParent};

void onToplevel(void *data, zwlr_foreign_toplevel_manager_v1 *,
                zwlr_foreign_toplevel_handle_v1 *handle) {
  auto *state = static_cast<State *>(data);
  state->toplevels[handle].id = state->nextId++;
  zwlr_foreign_toplevel_handle_v1_add_listener(handle, &handleListener, state);
}

void onFinished(void *data, zwlr_foreign_toplevel_manager_v1 *manager) {
  auto *state = static_cast<State *>(data);
  Log::write("focus: the compositor stopped sending its window list");
  zwlr_foreign_toplevel_manager_v1_destroy(manager);
  state->manager = nullptr;
  state->unavailable = "the compositor stopped sending its window list";
}

const zwlr_foreign_toplevel_manager_v1_listener managerListener{onToplevel, onFinished};

gboolean onReadable(gint, GIOCondition condition, gpointer data) {
  auto *state = static_cast<State *>(data);
  if ((condition & (G_IO_ERR | G_IO_HUP)) ||
      wl_display_dispatch(state->connection->display()) < 0) {
    Log::write("focus: lost the compositor connection; windows cannot be activated any more");
    state->unavailable = "the compositor connection was lost";
    state->watch = 0;
    return G_SOURCE_REMOVE;
  }
  return G_SOURCE_CONTINUE;
}

} // namespace

WaylandToplevels::WaylandToplevels() : state_(std::make_unique<State>()) {
  auto &s = *state_;
  s.connection = WaylandConnection::open("window focus");
  if (!s.connection) {
    s.unavailable = "no connection to the compositor";
    return;
  }
  if (!s.connection->offers(zwlr_foreign_toplevel_manager_v1_interface)) {
    s.unavailable = "the compositor offers no foreign-toplevel management";
    return;
  }
  s.seat = static_cast<wl_seat *>(s.connection->bind(wl_seat_interface, 1));
  if (!s.seat) {
    s.unavailable = "the compositor offers no seat";
    return;
  }
  s.manager = static_cast<zwlr_foreign_toplevel_manager_v1 *>(
      s.connection->bind(zwlr_foreign_toplevel_manager_v1_interface, 3));
  zwlr_foreign_toplevel_manager_v1_add_listener(s.manager, &managerListener, &s);
  if (!s.connection->roundtrip()) {
    s.unavailable = "the compositor connection failed";
    return;
  }
  s.watch = g_unix_fd_add(wl_display_get_fd(s.connection->display()),
                          GIOCondition(G_IO_IN | G_IO_ERR | G_IO_HUP), onReadable, &s);
}

WaylandToplevels::~WaylandToplevels() {
  auto &s = *state_;
  if (s.watch) g_source_remove(s.watch);
  for (auto &[handle, toplevel] : s.toplevels)
    zwlr_foreign_toplevel_handle_v1_destroy(handle);
  if (s.manager) zwlr_foreign_toplevel_manager_v1_destroy(s.manager);
  if (s.seat) wl_seat_destroy(s.seat);
}

std::optional<std::string> WaylandToplevels::unavailable() const {
  return state_->unavailable;
}

ElementRef WaylandToplevels::activated(const std::string &ownAppId) {
  auto &s = *state_;
  // Whatever changed since the main loop last looked is taken in first.
  if (s.unavailable || !s.connection->roundtrip()) return nullptr;
  for (const auto &[handle, toplevel] : s.toplevels)
    if (toplevel.activated && toplevel.appId != ownAppId)
      return std::make_shared<ToplevelElement>(toplevel.id);
  return nullptr;
}

bool WaylandToplevels::activate(const ElementRef &window) {
  auto &s = *state_;
  const auto *element = dynamic_cast<const ToplevelElement *>(window.get());
  if (!element || s.unavailable) return false;
  if (!s.connection->roundtrip()) return false;
  auto *handle = s.find(element->id);
  if (!handle) {
    Log::write("focus: the anchored window has closed");
    return false;
  }
  zwlr_foreign_toplevel_handle_v1_activate(handle, s.seat);
  // Waits for the compositor to have moved the focus, so a keystroke sent next lands there.
  return s.connection->roundtrip();
}

} // namespace selvar
