#pragma once
// An in-memory clipboard that remembers every write.

#include "platform/Pasteboard.h"

#include <vector>

namespace selvar {

class FakePasteboard : public Pasteboard {
public:
  static constexpr const char *kPlainText = "public.utf8-plain-text";

  std::optional<PasteboardSnapshot> snapshot() const override { return items; }
  void setString(const std::string &text) override;
  void restore(const PasteboardSnapshot &snapshot) override;
  std::optional<std::string> string() const override;

  // Puts one item with the representations on the clipboard.
  void setItem(PasteboardItem item) { items = PasteboardSnapshot{std::move(item)}; }

  std::optional<PasteboardSnapshot> items; // nothing: no items list at all
  int writes = 0;
  int restores = 0;
};

} // namespace selvar
