#pragma once
// The general pasteboard (NSPasteboard): deep snapshots of its items, plain-text writes and
// putting a snapshot back.

#include "platform/Pasteboard.h"

namespace selvar {

class PasteboardAdapter : public Pasteboard {
public:
  std::optional<PasteboardSnapshot> snapshot() const override;
  void setString(const std::string &text) override;
  void restore(const PasteboardSnapshot &items) override;
  std::optional<std::string> string() const override;
};

} // namespace selvar
