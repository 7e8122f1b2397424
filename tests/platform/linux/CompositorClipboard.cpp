#include "platform/linux/CompositorClipboard.h"

#include "ext-data-control-v1-server-protocol.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <poll.h>
#include <unistd.h>
#include <wayland-server.h>

namespace selvar::testing {

namespace {

// A reader that stops reading must not hang the compositor: each write waits at most a second.
void writeBounded(int fd, const std::string &data) {
  std::size_t done = 0;
  while (done < data.size()) {
    pollfd p{fd, POLLOUT, 0};
    if (poll(&p, 1, 1000) <= 0) return;
    ssize_t n = write(fd, data.data() + done, data.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return;
    done += static_cast<std::size_t>(n);
  }
}

CompositorClipboard &clipboardOf(wl_resource *resource) {
  return *static_cast<CompositorClipboard *>(wl_resource_get_user_data(resource));
}

void destroyResource(wl_client *, wl_resource *resource) {
  wl_resource_destroy(resource);
}

// A source's user data: its types, until it is set as the selection.
struct SourceTypes {
  CompositorClipboard *clipboard;
  std::vector<std::string> types;
};

SourceTypes &typesOf(wl_resource *source) {
  return *static_cast<SourceTypes *>(wl_resource_get_user_data(source));
}

void sourceOffer(wl_client *, wl_resource *source, const char *type) {
  typesOf(source).types.push_back(type);
}

void sourceDestroyed(wl_resource *source) {
  auto *types = &typesOf(source);
  types->clipboard->sourceGone(source);
  delete types;
}

const struct ext_data_control_source_v1_interface sourceRequests { sourceOffer, destroyResource };

// An offer's user data: the selection generation it describes; older ones read nothing.
struct OfferData {
  CompositorClipboard *clipboard;
  std::uint64_t generation;
};

void offerReceive(wl_client *, wl_resource *offer, const char *type, int fd) {
  auto *data = static_cast<OfferData *>(wl_resource_get_user_data(offer));
  data->clipboard->receive(data->generation, type, fd);
  ::close(fd);
}

void offerDestroyed(wl_resource *offer) {
  delete static_cast<OfferData *>(wl_resource_get_user_data(offer));
}

const struct ext_data_control_offer_v1_interface offerRequests { offerReceive, destroyResource };

wl_resource *makeOffer(wl_resource *device, CompositorClipboard *clipboard,
                       std::uint64_t generation, const std::vector<std::string> &types) {
  wl_resource *offer =
      wl_resource_create(wl_resource_get_client(device), &ext_data_control_offer_v1_interface,
                         wl_resource_get_version(device), 0);
  if (!offer) return nullptr;
  wl_resource_set_implementation(offer, &offerRequests, new OfferData{clipboard, generation},
                                 offerDestroyed);
  ext_data_control_device_v1_send_data_offer(device, offer);
  for (const auto &type : types)
    ext_data_control_offer_v1_send_offer(offer, type.c_str());
  return offer;
}

void deviceSetSelection(wl_client *, wl_resource *device, wl_resource *source) {
  clipboardOf(device).setSelection(source);
}

// Primary selections are not kept: the request is ignored, as the protocol allows.
void deviceSetPrimary(wl_client *, wl_resource *, wl_resource *) {}

void deviceDestroyed(wl_resource *device) {
  clipboardOf(device).removeDevice(device);
}

const struct ext_data_control_device_v1_interface deviceRequests {
  deviceSetSelection, destroyResource, deviceSetPrimary
};

void managerCreateSource(wl_client *client, wl_resource *manager, std::uint32_t id) {
  wl_resource *source = wl_resource_create(client, &ext_data_control_source_v1_interface,
                                           wl_resource_get_version(manager), id);
  if (!source) return wl_client_post_no_memory(client);
  wl_resource_set_implementation(source, &sourceRequests,
                                 new SourceTypes{&clipboardOf(manager), {}}, sourceDestroyed);
}

void managerGetDevice(wl_client *client, wl_resource *manager, std::uint32_t id, wl_resource *) {
  wl_resource *device = wl_resource_create(client, &ext_data_control_device_v1_interface,
                                           wl_resource_get_version(manager), id);
  if (!device) return wl_client_post_no_memory(client);
  auto &clipboard = clipboardOf(manager);
  wl_resource_set_implementation(device, &deviceRequests, &clipboard, deviceDestroyed);
  clipboard.addDevice(device);
}

const struct ext_data_control_manager_v1_interface managerRequests {
  managerCreateSource, managerGetDevice, destroyResource
};

void bindManager(wl_client *client, void *data, std::uint32_t version, std::uint32_t id) {
  wl_resource *manager = wl_resource_create(client, &ext_data_control_manager_v1_interface,
                                            static_cast<int>(version), id);
  if (!manager) return wl_client_post_no_memory(client);
  wl_resource_set_implementation(manager, &managerRequests, data, nullptr);
}

} // namespace

CompositorClipboard::CompositorClipboard(wl_display *display) {
  wl_global_create(display, &ext_data_control_manager_v1_interface, 1, this, bindManager);
}

void CompositorClipboard::own(const std::map<std::string, std::string> &contents) {
  Selection next;
  for (const auto &[type, data] : contents)
    next.types.push_back(type);
  next.contents = contents;
  replace(std::move(next));
}

std::optional<std::vector<std::string>> CompositorClipboard::types() const {
  if (!selection_) return std::nullopt;
  return selection_->types;
}

bool CompositorClipboard::deliver(const std::string &type, int fd) {
  if (!selection_) return false;
  auto &types = selection_->types;
  if (std::find(types.begin(), types.end(), type) == types.end()) return false;
  if (selection_->source) {
    ext_data_control_source_v1_send_send(selection_->source, type.c_str(), fd);
    wl_client_flush(wl_resource_get_client(selection_->source));
  } else {
    writeBounded(fd, selection_->contents.at(type));
  }
  return true;
}

// New devices learn the selection at once, and a primary selection they must not confuse with
// it, as compositors that keep one announce.
void CompositorClipboard::addDevice(wl_resource *device) {
  devices_.push_back(device);
  if (wl_resource *primary = makeOffer(device, this, std::numeric_limits<std::uint64_t>::max(),
                                       {"text/plain;charset=utf-8", "text/plain"}))
    ext_data_control_device_v1_send_primary_selection(device, primary);
  announce(device);
}

void CompositorClipboard::removeDevice(wl_resource *device) {
  std::erase(devices_, device);
}

void CompositorClipboard::setSelection(wl_resource *source) {
  if (!source) return replace(std::nullopt);
  replace(Selection{source, typesOf(source).types, {}});
}

void CompositorClipboard::sourceGone(wl_resource *source) {
  if (selection_ && selection_->source == source) replace(std::nullopt);
}

void CompositorClipboard::receive(std::uint64_t generation, const std::string &type, int fd) {
  if (generation == generation_) deliver(type, fd);
}

void CompositorClipboard::announce(wl_resource *device) {
  wl_resource *offer =
      selection_ ? makeOffer(device, this, generation_, selection_->types) : nullptr;
  ext_data_control_device_v1_send_selection(device, offer);
}

// The replaced source is told it is no longer the selection, as a compositor must.
void CompositorClipboard::replace(std::optional<Selection> next) {
  if (closing_) return;
  wl_resource *old = selection_ ? selection_->source : nullptr;
  selection_ = std::move(next);
  ++generation_;
  if (old && old != (selection_ ? selection_->source : nullptr))
    ext_data_control_source_v1_send_cancelled(old);
  for (wl_resource *device : devices_)
    announce(device);
}

} // namespace selvar::testing
