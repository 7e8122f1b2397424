#pragma once
// The CLIPBOARD selection as the inserter needs it. Reading another program's clipboard goes
// through a private connection (so the main loop never spins inside a read); owning it goes
// through GTK, which keeps serving the text, or a restored copy with all its targets, for as
// long as Selvar runs. While Selvar owns it, reads answer from what it holds.

#include "platform/Pasteboard.h"
#include "platform/linux/X11SelectionReader.h"

#include <gtk/gtk.h>

namespace selvar {

class X11Clipboard : public Pasteboard {
public:
  X11Clipboard();
  std::optional<PasteboardSnapshot> snapshot() const override;
  void setString(const std::string &text) override;
  void restore(const PasteboardSnapshot &items) override;
  std::optional<std::string> string() const override;

private:
  bool ownedHere() const;
  void own(PasteboardItem item);

  mutable X11SelectionReader reader_;
  GtkClipboard *clipboard_;
  PasteboardItem held_; // what this process serves while it owns the clipboard
};

} // namespace selvar
