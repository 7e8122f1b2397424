#include "platform/linux/X11SelectionReader.h"

#include "platform/linux/X11Support.h"

#include <X11/Xatom.h>
#include <algorithm>
#include <chrono>
#include <poll.h>

namespace selvar {

namespace {

constexpr long long kConvertMs = 400; // for the owner to answer every request
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
  incr_ = X11Windows::atom(display_, "INCR");
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

Atom X11SelectionReader::property(std::size_t index) {
  while (properties_.size() <= index)
    properties_.push_back(X11Windows::atom(
        display_, ("SELVAR_SELECTION_" + std::to_string(properties_.size())).c_str()));
  return properties_[index];
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

std::optional<X11SelectionReader::Raw> X11SelectionReader::take(Atom property) {
  Atom type;
  int format;
  unsigned long count, remaining;
  unsigned char *data = nullptr;
  if (XGetWindowProperty(display_, window_, property, 0, long(kMaxBytes / 4), True, AnyPropertyType,
                         &type, &format, &count, &remaining, &data) != Success)
    return std::nullopt;
  Raw out{type, format, {}};
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

std::optional<X11SelectionReader::Raw> X11SelectionReader::readIncremental(Atom property) {
  Raw whole;
  XFlush(display_);
  for (;;) {
    XEvent event;
    do {
      if (!waitFor(PropertyNotify, event, nowMs() + kChunkMs)) return std::nullopt;
    } while (event.xproperty.atom != property || event.xproperty.state != PropertyNewValue);
    auto piece = take(property);
    if (!piece) return std::nullopt;
    if (piece->bytes.empty()) return whole;
    whole.type = piece->type;
    whole.format = piece->format;
    whole.bytes.insert(whole.bytes.end(), piece->bytes.begin(), piece->bytes.end());
    if (whole.bytes.size() > kMaxBytes) return std::nullopt;
    XFlush(display_);
  }
}

// Every request goes out before the first answer is awaited; answers are matched by property.
std::vector<std::optional<X11SelectionReader::Raw>>
X11SelectionReader::convert(Atom selection, const std::vector<Atom> &targets) {
  std::vector<std::optional<Raw>> out(targets.size());
  for (std::size_t i = 0; i < targets.size(); ++i) {
    XDeleteProperty(display_, window_, property(i));
    XConvertSelection(display_, selection, targets[i], property(i), window_, CurrentTime);
  }
  XFlush(display_);
  std::vector<bool> answered(targets.size(), false);
  std::size_t pending = targets.size();
  const long long deadline = nowMs() + kConvertMs;
  XEvent event;
  while (pending > 0 && waitFor(SelectionNotify, event, deadline)) {
    const XSelectionEvent &reply = event.xselection;
    for (std::size_t i = 0; i < targets.size(); ++i) {
      const bool mine =
          reply.property != None ? reply.property == property(i) : reply.target == targets[i];
      if (answered[i] || !mine) continue;
      answered[i] = true;
      --pending;
      if (reply.property == None) break; // the owner refused this one
      out[i] = take(property(i));
      if (out[i] && out[i]->type == incr_) out[i] = readIncremental(property(i));
      break;
    }
  }
  return out;
}

// Atom names in one round trip; an atom the server does not know gets an empty name.
std::vector<std::string> X11SelectionReader::names(const std::vector<Atom> &atoms) {
  std::vector<std::string> out(atoms.size());
  if (atoms.empty()) return out;
  std::vector<char *> raw(atoms.size(), nullptr);
  X11ErrorTrap trap(display_);
  const Status ok =
      XGetAtomNames(display_, const_cast<Atom *>(atoms.data()), int(atoms.size()), raw.data());
  trap.finish();
  for (std::size_t i = 0; i < atoms.size(); ++i) {
    if (ok && raw[i]) out[i] = raw[i];
    if (raw[i]) XFree(raw[i]);
  }
  return out;
}

std::vector<std::string> X11SelectionReader::targets(const char *selection) {
  if (!display_) return {};
  auto reply =
      convert(X11Windows::atom(display_, selection), {X11Windows::atom(display_, "TARGETS")});
  if (!reply[0] || reply[0]->format != 32) return {};
  std::vector<Atom> atoms;
  const auto &bytes = reply[0]->bytes;
  for (std::size_t i = 0; i + 4 <= bytes.size(); i += 4)
    atoms.push_back(bytes[i] | bytes[i + 1] << 8 | bytes[i + 2] << 16 |
                    std::uint32_t(bytes[i + 3]) << 24);
  auto out = names(atoms);
  out.erase(std::remove(out.begin(), out.end(), std::string()), out.end());
  return out;
}

std::vector<std::optional<X11SelectionReader::Data>>
X11SelectionReader::read(const char *selection, const std::vector<std::string> &targets) {
  std::vector<std::optional<Data>> out(targets.size());
  if (!display_ || targets.empty()) return out;
  std::vector<Atom> atoms;
  for (const std::string &target : targets)
    atoms.push_back(X11Windows::atom(display_, target.c_str()));
  auto replies = convert(X11Windows::atom(display_, selection), atoms);
  std::vector<Atom> types;
  for (const auto &reply : replies)
    types.push_back(reply ? reply->type : None);
  const auto typeNames = names(types);
  for (std::size_t i = 0; i < replies.size(); ++i)
    if (replies[i]) out[i] = Data{typeNames[i], replies[i]->format, std::move(replies[i]->bytes)};
  return out;
}

} // namespace selvar
