#pragma once
// The general clipboard: a deep copy of what it holds, replacing it with plain text, and putting
// a copy back.

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace selvar {

// One clipboard item: each of its representations as (type, data).
struct PasteboardItem {
  std::vector<std::pair<std::string, std::vector<std::uint8_t>>> representations;
  friend bool operator==(const PasteboardItem &, const PasteboardItem &) = default;
};
using PasteboardSnapshot = std::vector<PasteboardItem>;

class Pasteboard {
public:
  virtual ~Pasteboard() = default;
  // A deep copy of every item (unreadable types skipped); nothing when there is no items list.
  virtual std::optional<PasteboardSnapshot> snapshot() const = 0;
  // Clears the clipboard and puts text on it as plain text.
  virtual void setString(const std::string &text) = 0;
  // Clears the clipboard and writes the items back.
  virtual void restore(const PasteboardSnapshot &items) = 0;
  // The plain-text content, when there is one.
  virtual std::optional<std::string> string() const = 0;
};

} // namespace selvar
