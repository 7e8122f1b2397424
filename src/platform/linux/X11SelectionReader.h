#pragma once
// Reads another program's X selection synchronously on a private connection: its targets and
// the bytes of each, large transfers (INCR) included. All targets are asked for at once, each
// into its own property, so a snapshot costs about one round trip to the owner rather than one
// per target; every wait is bounded, so a hung owner can only cost a moment.

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
  // The selection's owner window; None when nobody owns it.
  Window owner(const char *selection);
  std::vector<std::string> targets(const char *selection);
  // One answer per target, in order; nothing where the owner refused or did not answer.
  std::vector<std::optional<Data>> read(const char *selection,
                                        const std::vector<std::string> &targets);

private:
  struct Raw {
    Atom type = None;
    int format = 8;
    std::vector<std::uint8_t> bytes;
  };
  Atom property(std::size_t index);
  std::vector<std::optional<Raw>> convert(Atom selection, const std::vector<Atom> &targets);
  std::optional<Raw> take(Atom property);
  std::optional<Raw> readIncremental(Atom property);
  bool waitFor(int type, XEvent &event, long long deadlineMs);
  std::vector<std::string> names(const std::vector<Atom> &atoms);

  Display *display_ = nullptr;
  Window window_ = None;
  Atom incr_ = None;
  std::vector<Atom> properties_;
};

} // namespace selvar
