#include "platform/linux/X11SelectionReader.h"

#include "platform/linux/X11Support.h"

#include <X11/Xatom.h>
#include <chrono>
#include <poll.h>

namespace selvar {

namespace {

constexpr long long kConvertMs = 400; // for the owner to answer one request
constexpr long long kChunkMs = 400;   // between two pieces of a large transfer
constexpr std::size_t kMaxBytes = 64 << 20;

long long nowMs() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

} // namespace

X11SelectionReader::X11SelectionReader() {
  display_ = XOpenDisplay(nullptr);
  if (!display_) return;
  XSetWindowAttributes attributes{};
  attributes.event_mask = PropertyChangeMask;
  window_ = XCreateWindow(display_, DefaultRootWindow(display_), -10, -10, 1, 1, 0, 0, InputOnly,
                          CopyFromParent, CWEventMask, &attributes);
  property_ = X11Windows::atom(display_, "SELVAR_SELECTION");
}

X11SelectionReader::~X11SelectionReader() {
  if (!display_) return;
  XDestroyWindow(display_, window_);
  XCloseDisplay(display_);
}

Window X11SelectionReader::owner(const char *selection) {
  if (!display_) return None;
  return XGetSelectionOwner(display_, X11Windows::atom(display_, selection));
}

// Waits for an event of the type on the private window until the deadline.
bool X11SelectionReader::waitFor(int type, XEvent &event, long long deadlineMs) {
  for (;;) {
    if (XCheckTypedWindowEvent(display_, window_, type, &event)) return true;
    const long long left = deadlineMs - nowMs();
    if (left <= 0) return false;
    pollfd fd{ConnectionNumber(display_), POLLIN, 0};
    poll(&fd, 1, int(left));
  }
}

std::optional<X11SelectionReader::Data> X11SelectionReader::takeProperty() {
  Atom type;
  int format;
  unsigned long count, remaining;
  unsigned char *data = nullptr;
  if (XGetWindowProperty(display_, window_, property_, 0, long(kMaxBytes / 4), True,
                         AnyPropertyType, &type, &format, &count, &remaining, &data) != Success) {
    return std::nullopt;
  }
  Data out;
  out.type = X11Windows::atomName(display_, type);
  out.format = format;
  // Xlib hands 32-bit items over as longs; they are narrowed back to what the wire carried.
  if (data && format == 8)
    out.bytes.assign(data, data + count);
  else if (data && format == 16)
    out.bytes.assign(data, data + count * 2);
  else if (data && format == 32)
    for (unsigned long i = 0; i < count; ++i) {
      const auto item = std::uint32_t(reinterpret_cast<unsigned long *>(data)[i]);
      for (int b = 0; b < 4; ++b)
        out.bytes.push_back(std::uint8_t(item >> (8 * b)));
    }
  if (data) XFree(data);
  return out;
}

std::optional<X11SelectionReader::Data> X11SelectionReader::readIncremental() {
  Data whole;
  XFlush(display_);
  for (;;) {
    XEvent event;
    do {
      if (!waitFor(PropertyNotify, event, nowMs() + kChunkMs)) return std::nullopt;
    } while (event.xproperty.atom != property_ || event.xproperty.state != PropertyNewValue);
    auto piece = takeProperty();
    if (!piece) return std::nullopt;
    if (piece->bytes.empty()) return whole;
    whole.type = piece->type;
    whole.format = piece->format;
    whole.bytes.insert(whole.bytes.end(), piece->bytes.begin(), piece->bytes.end());
    if (whole.bytes.size() > kMaxBytes) return std::nullopt;
    XFlush(display_);
  }
}

std::optional<X11SelectionReader::Data> X11SelectionReader::convert(Atom selection, Atom target) {
  XDeleteProperty(display_, window_, property_);
  XConvertSelection(display_, selection, target, property_, window_, CurrentTime);
  XFlush(display_);
  XEvent event;
  if (!waitFor(SelectionNotify, event, nowMs() + kConvertMs)) return std::nullopt;
  if (event.xselection.property == None) return std::nullopt; // the owner refused
  auto data = takeProperty();
  if (data && data->type == "INCR") return readIncremental();
  return data;
}

std::vector<std::string> X11SelectionReader::targets(const char *selection) {
  std::vector<std::string> out;
  if (!display_) return out;
  auto data = convert(X11Windows::atom(display_, selection), X11Windows::atom(display_, "TARGETS"));
  if (!data || data->format != 32) return out;
  for (std::size_t i = 0; i + 4 <= data->bytes.size(); i += 4) {
    const Atom atom = data->bytes[i] | data->bytes[i + 1] << 8 | data->bytes[i + 2] << 16 |
                      std::uint32_t(data->bytes[i + 3]) << 24;
    out.push_back(X11Windows::atomName(display_, atom));
  }
  return out;
}

std::optional<X11SelectionReader::Data> X11SelectionReader::read(const char *selection,
                                                                 const std::string &target) {
  if (!display_) return std::nullopt;
  return convert(X11Windows::atom(display_, selection), X11Windows::atom(display_, target.c_str()));
}

} // namespace selvar
