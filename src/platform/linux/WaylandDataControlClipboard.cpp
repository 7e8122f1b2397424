#include "platform/linux/WaylandDataControlClipboard.h"

#include "ext-data-control-v1-client-protocol.h"
#include "platform/linux/PipeHandOver.h"
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

std::optional<std::string> textOf(const PasteboardItem &item) {
  for (const char *type : kTextTypes)
    for (const auto &[t, bytes] : item.representations)
      if (t == type) return std::string(bytes.begin(), bytes.end());
  return std::nullopt;
}

// The standard protocol grew out of wlroots' and kept its requests and events one for one, so
// one implementation below serves both through these tables of the generated calls.
struct ExtDataControl {
  using Manager = ext_data_control_manager_v1;
  using Device = ext_data_control_device_v1;
  using Source = ext_data_control_source_v1;
  using Offer = ext_data_control_offer_v1;
  using DeviceListener = ext_data_control_device_v1_listener;
  using SourceListener = ext_data_control_source_v1_listener;
  using OfferListener = ext_data_control_offer_v1_listener;
  static constexpr const char *name = "ext-data-control-v1";
  static constexpr const wl_interface *manager = &ext_data_control_manager_v1_interface;
  static constexpr auto getDevice = ext_data_control_manager_v1_get_data_device;
  static constexpr auto createSource = ext_data_control_manager_v1_create_data_source;
  static constexpr auto destroyManager = ext_data_control_manager_v1_destroy;
  static constexpr auto listenDevice = ext_data_control_device_v1_add_listener;
  static constexpr auto setSelection = ext_data_control_device_v1_set_selection;
  static constexpr auto destroyDevice = ext_data_control_device_v1_destroy;
  static constexpr auto listenSource = ext_data_control_source_v1_add_listener;
  static constexpr auto offerType = ext_data_control_source_v1_offer;
  static constexpr auto destroySource = ext_data_control_source_v1_destroy;
  static constexpr auto listenOffer = ext_data_control_offer_v1_add_listener;
  static constexpr auto receive = ext_data_control_offer_v1_receive;
  static constexpr auto destroyOffer = ext_data_control_offer_v1_destroy;
};

struct WlrDataControl {
  using Manager = zwlr_data_control_manager_v1;
  using Device = zwlr_data_control_device_v1;
  using Source = zwlr_data_control_source_v1;
  using Offer = zwlr_data_control_offer_v1;
  using DeviceListener = zwlr_data_control_device_v1_listener;
  using SourceListener = zwlr_data_control_source_v1_listener;
  using OfferListener = zwlr_data_control_offer_v1_listener;
  static constexpr const char *name = "wlr-data-control-unstable-v1";
  static constexpr const wl_interface *manager = &zwlr_data_control_manager_v1_interface;
  static constexpr auto getDevice = zwlr_data_control_manager_v1_get_data_device;
  static constexpr auto createSource = zwlr_data_control_manager_v1_create_data_source;
  static constexpr auto destroyManager = zwlr_data_control_manager_v1_destroy;
  static constexpr auto listenDevice = zwlr_data_control_device_v1_add_listener;
  static constexpr auto setSelection = zwlr_data_control_device_v1_set_selection;
  static constexpr auto destroyDevice = zwlr_data_control_device_v1_destroy;
  static constexpr auto listenSource = zwlr_data_control_source_v1_add_listener;
  static constexpr auto offerType = zwlr_data_control_source_v1_offer;
  static constexpr auto destroySource = zwlr_data_control_source_v1_destroy;
  static constexpr auto listenOffer = zwlr_data_control_offer_v1_add_listener;
  static constexpr auto receive = zwlr_data_control_offer_v1_receive;
  static constexpr auto destroyOffer = zwlr_data_control_offer_v1_destroy;
};

} // namespace

// What does not depend on the protocol: the connection, what this process serves, and reading
// the selection through a pipe.
struct WaylandDataControlClipboard::State {
  explicit State(std::unique_ptr<WaylandConnection> c) : connection(std::move(c)) {}
  virtual ~State() {
    if (watch) g_source_remove(watch);
  }

  virtual const char *protocol() const = 0;
  virtual bool hasDevice() const = 0;
  // This process's own source is still the selection.
  virtual bool ownsSelection() const = 0;
  // The types the selection offers; nothing when the clipboard is empty.
  virtual std::optional<std::vector<std::string>> selectionTypes() const = 0;
  virtual void receive(const std::string &type, int fd) = 0;
  virtual void offer(PasteboardItem item) = 0;

  void flush() { wl_display_flush(connection->display()); }
  void watchConnection();
  std::optional<std::vector<std::uint8_t>> read(const std::string &type);

  std::unique_ptr<WaylandConnection> connection;
  PasteboardItem served; // what this process's source hands out
  guint watch = 0;
};

namespace {

using State = WaylandDataControlClipboard::State;

template <class P> class DataControlState final : public State {
public:
  explicit DataControlState(std::unique_ptr<WaylandConnection> c) : State(std::move(c)) {
    seat_ = static_cast<wl_seat *>(connection->bind(wl_seat_interface, 1));
    manager_ = static_cast<typename P::Manager *>(connection->bind(*P::manager, 1));
    if (!seat_ || !manager_) return;
    device_ = P::getDevice(manager_, seat_);
    P::listenDevice(device_, &deviceListener, this);
    if (!connection->roundtrip()) {
      P::destroyDevice(device_);
      device_ = nullptr;
      return;
    }
    watchConnection();
  }

  ~DataControlState() override {
    if (source_) P::destroySource(source_);
    for (auto &[offer, types] : offers_)
      P::destroyOffer(offer);
    if (device_) P::destroyDevice(device_);
    if (manager_) P::destroyManager(manager_);
    if (seat_) wl_seat_destroy(seat_);
  }

  const char *protocol() const override { return P::name; }
  bool hasDevice() const override { return device_ != nullptr; }
  bool ownsSelection() const override { return source_ != nullptr; }

  std::optional<std::vector<std::string>> selectionTypes() const override {
    if (!selection_) return std::nullopt;
    auto found = offers_.find(selection_);
    if (found == offers_.end()) return std::vector<std::string>{};
    return found->second;
  }

  void receive(const std::string &type, int fd) override {
    P::receive(selection_, type.c_str(), fd);
  }

  void offer(PasteboardItem item) override {
    if (!device_) return;
    if (source_) P::destroySource(source_);
    served = std::move(item);
    source_ = P::createSource(manager_);
    P::listenSource(source_, &sourceListener, this);
    for (const auto &[type, bytes] : served.representations)
      P::offerType(source_, type.c_str());
    P::setSelection(device_, source_);
    // Waits for the compositor to hold it: the paste keystroke goes out on another connection
    // and must not overtake the new selection.
    connection->roundtrip();
  }

private:
  using Offer = typename P::Offer;

  void forget(Offer *offer) {
    if (!offer) return;
    offers_.erase(offer);
    P::destroyOffer(offer);
  }

  static DataControlState &self(void *data) { return *static_cast<DataControlState *>(data); }

  static void onOfferType(void *data, Offer *offer, const char *type) {
    self(data).offers_[offer].push_back(type);
  }

  static void onDataOffer(void *data, typename P::Device *, Offer *offer) {
    self(data).offers_[offer];
    P::listenOffer(offer, &offerListener, data);
  }

  static void onSelection(void *data, typename P::Device *, Offer *offer) {
    auto &s = self(data);
    if (s.selection_ != offer) s.forget(s.selection_);
    s.selection_ = offer;
  }

  // The primary selection (middle-click paste) is not Selvar's business; its offers are let go
  // at once so they neither leak nor get mistaken for the clipboard's.
  static void onPrimarySelection(void *data, typename P::Device *, Offer *offer) {
    self(data).forget(offer);
  }

  static void onFinished(void *data, typename P::Device *device) {
    Log::write("clipboard: the compositor withdrew the data-control device");
    P::destroyDevice(device);
    self(data).device_ = nullptr;
  }

  // The reader may be slow, stuck or this very process: the bytes go out from the main loop
  // as the pipe drains, never in a write that waits.
  static void onSend(void *data, typename P::Source *, const char *type, int fd) {
    for (const auto &[t, bytes] : self(data).served.representations)
      if (t == type) {
        PipeHandOver::start(fd, std::make_shared<const std::vector<std::uint8_t>>(bytes), type);
        return;
      }
    close(fd);
  }

  static void onCancelled(void *data, typename P::Source *source) {
    auto &s = self(data);
    if (s.source_ == source) s.source_ = nullptr;
    P::destroySource(source);
  }

  static constexpr typename P::OfferListener offerListener{onOfferType};
  static constexpr typename P::DeviceListener deviceListener{onDataOffer, onSelection, onFinished,
                                                             onPrimarySelection};
  static constexpr typename P::SourceListener sourceListener{onSend, onCancelled};

  wl_seat *seat_ = nullptr;
  typename P::Manager *manager_ = nullptr;
  typename P::Device *device_ = nullptr;
  std::map<Offer *, std::vector<std::string>> offers_;
  Offer *selection_ = nullptr;
  typename P::Source *source_ = nullptr;
};

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

// The standard protocol wins where a compositor offers both.
std::unique_ptr<State> connectDataControl() {
  auto connection = WaylandConnection::open("the clipboard");
  if (!connection) return nullptr;
  if (connection->offers(*ExtDataControl::manager))
    return std::make_unique<DataControlState<ExtDataControl>>(std::move(connection));
  if (connection->offers(*WlrDataControl::manager))
    return std::make_unique<DataControlState<WlrDataControl>>(std::move(connection));
  return nullptr;
}

} // namespace

void State::watchConnection() {
  watch = g_unix_fd_add(wl_display_get_fd(connection->display()),
                        GIOCondition(G_IO_IN | G_IO_ERR | G_IO_HUP), onReadable, this);
}

// Pumps the connection while the owner writes, since the owner may be this very process.
std::optional<std::vector<std::uint8_t>> State::read(const std::string &type) {
  int fds[2];
  if (pipe2(fds, O_CLOEXEC) != 0) return std::nullopt;
  receive(type, fds[1]);
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

WaylandDataControlClipboard::WaylandDataControlClipboard() : state_(connectDataControl()) {}

WaylandDataControlClipboard::~WaylandDataControlClipboard() = default;

bool WaylandDataControlClipboard::available() const {
  return state_ && state_->hasDevice();
}

const char *WaylandDataControlClipboard::protocol() const {
  return available() ? state_->protocol() : nullptr;
}

std::optional<PasteboardSnapshot> WaylandDataControlClipboard::snapshot() const {
  if (!available() || !state_->connection->roundtrip()) return std::nullopt;
  auto &s = *state_;
  // Still the owner after the round trip: reading through the compositor would only feed a
  // pipe this thread must also drain.
  if (s.ownsSelection()) return PasteboardSnapshot{s.served};
  auto types = s.selectionTypes();
  if (!types) return PasteboardSnapshot{};
  PasteboardItem item;
  for (const auto &type : *types)
    if (auto bytes = s.read(type)) item.representations.emplace_back(type, std::move(*bytes));
  if (item.representations.empty()) return PasteboardSnapshot{};
  return PasteboardSnapshot{std::move(item)};
}

void WaylandDataControlClipboard::setString(const std::string &text) {
  if (!available()) return;
  PasteboardItem item;
  std::vector<std::uint8_t> bytes(text.begin(), text.end());
  for (const char *type : kTextTypes)
    item.representations.emplace_back(type, bytes);
  state_->offer(std::move(item));
}

void WaylandDataControlClipboard::restore(const PasteboardSnapshot &items) {
  if (items.empty() || !available()) return;
  state_->offer(items.front());
}

std::optional<std::string> WaylandDataControlClipboard::string() const {
  if (!available() || !state_->connection->roundtrip()) return std::nullopt;
  auto &s = *state_;
  if (s.ownsSelection()) return textOf(s.served);
  auto types = s.selectionTypes();
  if (!types) return std::nullopt;
  for (const char *type : kTextTypes)
    if (std::find(types->begin(), types->end(), type) != types->end())
      if (auto bytes = s.read(type)) return std::string(bytes->begin(), bytes->end());
  return std::nullopt;
}

} // namespace selvar
