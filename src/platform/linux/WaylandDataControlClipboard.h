#pragma once
// The clipboard through a data-control protocol, which reads and sets the selection without
// keyboard focus, on a connection of its own watched by the GLib main loop. The standard
// ext-data-control-v1 is spoken when the compositor offers it, wlroots' older
// zwlr_data_control_manager_v1 otherwise. The Wayland clipboard holds one item: a snapshot is
// that item with every type its owner offers, and a restore offers them all again from this
// process, which then serves them until someone else takes the clipboard (they are lost when
// Selvar quits). Reading another client's clipboard waits at most a second for each type;
// what this process still owns is answered from memory.

#include "platform/Pasteboard.h"

#include <memory>

namespace selvar {

class WaylandDataControlClipboard : public Pasteboard {
public:
  WaylandDataControlClipboard();
  ~WaylandDataControlClipboard() override;
  // The compositor offers data-control and the clipboard device is set up.
  bool available() const;
  // The protocol in use ("ext-data-control-v1" or "wlr-data-control-unstable-v1"), or nullptr
  // when none is.
  const char *protocol() const;

  std::optional<PasteboardSnapshot> snapshot() const override;
  void setString(const std::string &text) override;
  void restore(const PasteboardSnapshot &items) override;
  std::optional<std::string> string() const override;

  struct State;

private:
  std::unique_ptr<State> state_;
};

} // namespace selvar
