#include "platform/linux/WaylandDataControlClipboard.h"

#include "platform/linux/WaylandConnection.h"
#include "records/Log.h"
#include "wlr-data-control-unstable-v1-client-protocol.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <glib-unix.h>
#include <map>
#include <poll.h>
#include <unistd.h>
#include <wayland-client.h>

namespace selvar {

namespace {

constexpr const char *kTextTypes[] = {"text/plain;charset=utf-8", "text/plain", "UTF8_STRING",
                                      "STRING", "TEXT"};
constexpr int kReadTimeoutMs = 1000;

bool writeAll(int fd, const std::vector<std::uint8_t> &data) {
  std::size_t done = 0;
  while (done < data.size()) {
    ssize_t n = write(fd, data.data() + done, data.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<std::size_t>(n);
  }
  return true;
}

std::optional<std::string> textOf(const PasteboardItem &item) {
  for (const char *type : kTextTypes)
    for (const auto &[t, bytes] : item.representations)
      if (t == type) return std::string(bytes.begin(), bytes.end());
  return std::nullopt;
}

} // namespace

struct WaylandDataControlClipboard::State {
  std::unique_ptr<WaylandConnection> connection;
  wl_seat *seat = nullptr;
  zwlr_data_control_manager_v1 *manager = nullptr;
  zwlr_data_control_device_v1 *device = nullptr;
  std::map<zwlr_data_control_offer_v1 *, std::vector<std::string>> offers;
  zwlr_data_control_offer_v1 *selection = nullptr;
  zwlr_data_control_source_v1 *source = nullptr;
  PasteboardItem served; // what this process's source hands out
  guint watch = 0;

  void forgetOffer(zwlr_data_control_offer_v1 *offer) {
    if (!offer) return;
    offers.erase(offer);
    zwlr_data_control_offer_v1_destroy(offer);
  }
  void flush() { wl_display_flush(connection->display()); }
  std::optional<std::vector<std::uint8_t>> read(const std::string &type);
  void offer(PasteboardItem item);
};

namespace {

using State = WaylandDataControlClipboard::State;

void onOfferType(void *data, zwlr_data_control_offer_v1 *offer, const char *type) {
  static_cast<State *>(data)->offers[offer].push_back(type);
}
const zwlr_data_control_offer_v1_listener offerListener{onOfferType};

void onDataOffer(void *data, zwlr_data_control_device_v1 *, zwlr_data_control_offer_v1 *offer) {
  auto *state = static_cast<State *>(data);
  state->offers[offer];
  zwlr_data_control_offer_v1_add_listener(offer, &offerListener, state);
}

void onSelection(void *data, zwlr_data_control_device_v1 *, zwlr_data_control_offer_v1 *offer) {
  auto *state = static_cast<State *>(data);
  if (state->selection != offer) state->forgetOffer(state->selection);
  state->selection = offer;
}

void onFinished(void *data, zwlr_data_control_device_v1 *device) {
  auto *state = static_cast<State *>(data);
  Log::write("clipboard: the compositor withdrew the data-control device");
  zwlr_data_control_device_v1_destroy(device);
  state->device = nullptr;
}

// Only bound at version 1, so no primary-selection events arrive.
const zwlr_data_control_device_v1_listener deviceListener{onDataOffer, onSelection, onFinished,
                                                          nullptr};

void onSend(void *data, zwlr_data_control_source_v1 *, const char *type, int fd) {
  auto *state = static_cast<State *>(data);
  for (const auto &[t, bytes] : state->served.representations)
    if (t == type) {
      if (!writeAll(fd, bytes))
        Log::write(std::string("clipboard: could not hand over ") + type + ": " +
                   std::strerror(errno));
      break;
    }
  close(fd);
}

void onCancelled(void *data, zwlr_data_control_source_v1 *source) {
  auto *state = static_cast<State *>(data);
  if (state->source == source) state->source = nullptr;
  zwlr_data_control_source_v1_destroy(source);
}

const zwlr_data_control_source_v1_listener sourceListener{onSend, onCancelled};

gboolean onReadable(gint, GIOCondition condition, gpointer data) {
  auto *state = static_cast<State *>(data);
  if ((condition & (G_IO_ERR | G_IO_HUP)) ||
      wl_display_dispatch(state->connection->display()) < 0) {
    Log::write("clipboard: lost the compositor connection; the clipboard stays as it is");
    state->watch = 0;
    return G_SOURCE_REMOVE;
  }
  return G_SOURCE_CONTINUE;
}

} // namespace

// Pumps the connection while the owner writes, since the owner may be this very process.
std::optional<std::vector<std::uint8_t>> State::read(const std::string &type) {
  if (!selection) return std::nullopt;
  int fds[2];
  if (pipe2(fds, O_CLOEXEC) != 0) return std::nullopt;
  zwlr_data_control_offer_v1_receive(selection, type.c_str(), fds[1]);
  close(fds[1]);
  flush();
  wl_display *display = connection->display();
  std::vector<std::uint8_t> bytes;
  auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kReadTimeoutMs);
  bool done = false;
  while (!done) {
    wl_display_dispatch_pending(display);
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                    deadline - std::chrono::steady_clock::now())
                    .count();
    pollfd fds2[2] = {{fds[0], POLLIN, 0}, {wl_display_get_fd(display), POLLIN, 0}};
    if (left <= 0 || poll(fds2, 2, static_cast<int>(left)) <= 0) break;
    if (fds2[1].revents & POLLIN) wl_display_dispatch(display);
    if (fds2[0].revents & (POLLIN | POLLHUP)) {
      std::uint8_t chunk[4096];
      ssize_t n = ::read(fds[0], chunk, sizeof chunk);
      if (n > 0)
        bytes.insert(bytes.end(), chunk, chunk + n);
      else if (n == 0 || errno != EINTR)
        done = true;
    }
  }
  close(fds[0]);
  if (!done) {
    Log::write("clipboard: the owner did not hand over " + type + " within a second");
    return std::nullopt;
  }
  return bytes;
}

void State::offer(PasteboardItem item) {
  if (!device) return;
  if (source) zwlr_data_control_source_v1_destroy(source);
  served = std::move(item);
  source = zwlr_data_control_manager_v1_create_data_source(manager);
  zwlr_data_control_source_v1_add_listener(source, &sourceListener, this);
  for (const auto &[type, bytes] : served.representations)
    zwlr_data_control_source_v1_offer(source, type.c_str());
  zwlr_data_control_device_v1_set_selection(device, source);
  flush();
}

WaylandDataControlClipboard::WaylandDataControlClipboard() : state_(std::make_unique<State>()) {
  auto &s = *state_;
  s.connection = WaylandConnection::open("the clipboard");
  if (!s.connection || !s.connection->offers(zwlr_data_control_manager_v1_interface)) return;
  s.seat = static_cast<wl_seat *>(s.connection->bind(wl_seat_interface, 1));
  s.manager = static_cast<zwlr_data_control_manager_v1 *>(
      s.connection->bind(zwlr_data_control_manager_v1_interface, 1));
  if (!s.seat || !s.manager) return;
  s.device = zwlr_data_control_manager_v1_get_data_device(s.manager, s.seat);
  zwlr_data_control_device_v1_add_listener(s.device, &deviceListener, &s);
  if (!s.connection->roundtrip()) {
    s.device = nullptr;
    return;
  }
  s.watch = g_unix_fd_add(wl_display_get_fd(s.connection->display()),
                          GIOCondition(G_IO_IN | G_IO_ERR | G_IO_HUP), onReadable, &s);
}

WaylandDataControlClipboard::~WaylandDataControlClipboard() {
  auto &s = *state_;
  if (s.watch) g_source_remove(s.watch);
  if (s.source) zwlr_data_control_source_v1_destroy(s.source);
  s.forgetOffer(s.selection);
  for (auto &[offer, types] : s.offers)
    zwlr_data_control_offer_v1_destroy(offer);
  if (s.device) zwlr_data_control_device_v1_destroy(s.device);
  if (s.manager) zwlr_data_control_manager_v1_destroy(s.manager);
  if (s.seat) wl_seat_destroy(s.seat);
}

bool WaylandDataControlClipboard::available() const {
  return state_->device != nullptr;
}

std::optional<PasteboardSnapshot> WaylandDataControlClipboard::snapshot() const {
  auto &s = *state_;
  if (!s.device || !s.connection->roundtrip()) return std::nullopt;
  // Still the owner after the round trip: reading through the compositor would only feed a
  // pipe this thread must also drain.
  if (s.source) return PasteboardSnapshot{s.served};
  if (!s.selection) return PasteboardSnapshot{};
  PasteboardItem item;
  for (const auto &type : std::vector<std::string>(s.offers[s.selection]))
    if (auto bytes = s.read(type)) item.representations.emplace_back(type, std::move(*bytes));
  if (item.representations.empty()) return PasteboardSnapshot{};
  return PasteboardSnapshot{std::move(item)};
}

void WaylandDataControlClipboard::setString(const std::string &text) {
  PasteboardItem item;
  std::vector<std::uint8_t> bytes(text.begin(), text.end());
  for (const char *type : kTextTypes)
    item.representations.emplace_back(type, bytes);
  state_->offer(std::move(item));
}

void WaylandDataControlClipboard::restore(const PasteboardSnapshot &items) {
  if (items.empty()) return;
  state_->offer(items.front());
}

std::optional<std::string> WaylandDataControlClipboard::string() const {
  auto &s = *state_;
  if (!s.device || !s.connection->roundtrip()) return std::nullopt;
  if (s.source) return textOf(s.served);
  if (!s.selection) return std::nullopt;
  const auto &types = s.offers[s.selection];
  for (const char *type : kTextTypes)
    if (std::find(types.begin(), types.end(), type) != types.end())
      if (auto bytes = s.read(type)) return std::string(bytes->begin(), bytes->end());
  return std::nullopt;
}

} // namespace selvar
