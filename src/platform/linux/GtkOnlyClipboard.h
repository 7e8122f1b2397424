#pragma once
// The clipboard as GTK alone can reach it on Wayland: setting it works while the compositor
// accepts the request (a compositor may refuse a client without keyboard focus), and nothing
// of another client's clipboard can be read without blocking the main loop, so there is never
// a snapshot and never a restore. Reads answer with what this process last set.

#include "platform/Pasteboard.h"

namespace selvar {

class GtkOnlyClipboard : public Pasteboard {
public:
  std::optional<PasteboardSnapshot> snapshot() const override { return std::nullopt; }
  void setString(const std::string &text) override;
  void restore(const PasteboardSnapshot &) override {}
  std::optional<std::string> string() const override { return held_; }

private:
  std::optional<std::string> held_;
};

} // namespace selvar
