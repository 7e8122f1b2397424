#include "platform/fake/FakePasteboard.h"

namespace selvar {

void FakePasteboard::setString(const std::string &text) {
  PasteboardItem item;
  item.representations.emplace_back(kPlainText,
                                    std::vector<std::uint8_t>(text.begin(), text.end()));
  items = PasteboardSnapshot{std::move(item)};
  ++writes;
}

void FakePasteboard::restore(const PasteboardSnapshot &snapshot) {
  items = snapshot;
  ++restores;
}

std::optional<std::string> FakePasteboard::string() const {
  if (!items) return std::nullopt;
  for (const auto &item : *items)
    for (const auto &[type, data] : item.representations)
      if (type == kPlainText) return std::string(data.begin(), data.end());
  return std::nullopt;
}

} // namespace selvar
