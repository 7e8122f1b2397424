#pragma once
// Reads another program's X selection synchronously on a private connection: its targets and
// the bytes of each, large transfers (INCR) included, every wait bounded so a hung owner can
// only cost a moment.

#include <X11/Xlib.h>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace selvar {

class X11SelectionReader {
public:
  struct Data {
    std::string type;
    int format = 8;
    std::vector<std::uint8_t> bytes;
  };

  X11SelectionReader();
  ~X11SelectionReader();
  X11SelectionReader(const X11SelectionReader &) = delete;
  X11SelectionReader &operator=(const X11SelectionReader &) = delete;

  bool isOpen() const { return display_ != nullptr; }
  Display *display() const { return display_; }
  // The selection's owner window; None when nobody owns it.
  Window owner(const char *selection);
  std::vector<std::string> targets(const char *selection);
  std::optional<Data> read(const char *selection, const std::string &target);

private:
  std::optional<Data> convert(Atom selection, Atom target);
  std::optional<Data> readIncremental();
  bool waitFor(int type, XEvent &event, long long deadlineMs);
  std::optional<Data> takeProperty();

  Display *display_ = nullptr;
  Window window_ = None;
  Atom property_ = None;
};

} // namespace selvar
