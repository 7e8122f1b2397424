#include "platform/linux/X11Clipboard.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace selvar {

namespace {

// Targets that are about the selection rather than its contents.
constexpr std::array<std::string_view, 8> kMetaTargets{
    "TARGETS", "MULTIPLE",         "TIMESTAMP",       "SAVE_TARGETS",
    "DELETE",  "INSERT_SELECTION", "INSERT_PROPERTY", "_GTK_TEXT_BUFFER_CONTENTS"};

constexpr std::array<const char *, 4> kUtf8Targets{"UTF8_STRING", "text/plain;charset=utf-8",
                                                   "text/plain", "TEXT"};

bool isMeta(const std::string &target) {
  return std::find(kMetaTargets.begin(), kMetaTargets.end(), target) != kMetaTargets.end();
}

std::vector<std::uint8_t> bytesOf(const std::string &text) {
  return {text.begin(), text.end()};
}

// STRING is Latin-1 by definition; characters outside it become question marks.
std::vector<std::uint8_t> latin1Of(const std::string &text) {
  gsize written = 0;
  gchar *converted = g_convert_with_fallback(text.data(), gssize(text.size()), "ISO-8859-1",
                                             "UTF-8", "?", nullptr, &written, nullptr);
  if (!converted) return {};
  std::vector<std::uint8_t> out(converted, converted + written);
  g_free(converted);
  return out;
}

void serve(GtkClipboard *, GtkSelectionData *selection, guint index, gpointer data) {
  const auto *item = static_cast<const PasteboardItem *>(data);
  if (index >= item->representations.size()) return;
  const auto &[target, bytes] = item->representations[index];
  // TEXT lets the owner pick the encoding; the answer says which one it picked.
  const char *type = target == "TEXT" ? "UTF8_STRING" : target.c_str();
  gtk_selection_data_set(selection, gdk_atom_intern(type, FALSE), 8, bytes.data(),
                         int(bytes.size()));
}

void release(GtkClipboard *, gpointer data) {
  delete static_cast<PasteboardItem *>(data);
}

} // namespace

X11Clipboard::X11Clipboard() : clipboard_(gtk_clipboard_get(GDK_SELECTION_CLIPBOARD)) {}

// The server's word, not GTK's: GTK learns of losing the clipboard only when its main loop
// gets round to it.
bool X11Clipboard::ownedHere() const {
  const Window owner = reader_.owner("CLIPBOARD");
  return owner != None && owner == ownWindow_;
}

// Every target the owner answers with bytes, in the owner's order.
std::optional<PasteboardSnapshot> X11Clipboard::snapshot() const {
  if (!reader_.isOpen() || reader_.owner("CLIPBOARD") == None) return std::nullopt;
  if (ownedHere()) return PasteboardSnapshot{held_};
  std::vector<std::string> targets = reader_.targets("CLIPBOARD");
  std::erase_if(targets, isMeta);
  auto replies = reader_.read("CLIPBOARD", targets);
  PasteboardItem item;
  for (std::size_t i = 0; i < targets.size(); ++i)
    if (replies[i] && replies[i]->format == 8)
      item.representations.emplace_back(targets[i], std::move(replies[i]->bytes));
  if (item.representations.empty()) return PasteboardSnapshot{};
  return PasteboardSnapshot{std::move(item)};
}

void X11Clipboard::own(PasteboardItem item) {
  held_ = item;
  auto *served = new PasteboardItem(std::move(item));
  std::vector<GtkTargetEntry> targets; // GTK copies the entries
  for (std::size_t i = 0; i < served->representations.size(); ++i)
    targets.push_back({const_cast<char *>(served->representations[i].first.c_str()), 0, guint(i)});
  if (gtk_clipboard_set_with_data(clipboard_, targets.data(), guint(targets.size()), serve, release,
                                  served))
    ownWindow_ = reader_.owner("CLIPBOARD"); // GTK's own window, now that it holds the clipboard
  else
    delete served;
}

void X11Clipboard::setString(const std::string &text) {
  PasteboardItem item;
  for (const char *target : kUtf8Targets)
    item.representations.emplace_back(target, bytesOf(text));
  item.representations.emplace_back("STRING", latin1Of(text));
  own(std::move(item));
}

// The clipboard holds one item on X11; a snapshot never has more.
void X11Clipboard::restore(const PasteboardSnapshot &items) {
  if (items.empty() || items.front().representations.empty()) {
    held_ = {};
    gtk_clipboard_clear(clipboard_);
    return;
  }
  own(items.front());
}

std::optional<std::string> X11Clipboard::string() const {
  if (ownedHere()) {
    for (const auto &[type, bytes] : held_.representations)
      if (type == "UTF8_STRING" || type == "text/plain;charset=utf-8")
        return std::string(bytes.begin(), bytes.end());
    return std::nullopt;
  }
  auto data = reader_.read("CLIPBOARD", {"UTF8_STRING"});
  if (!data[0] || data[0]->format != 8) return std::nullopt;
  return std::string(data[0]->bytes.begin(), data[0]->bytes.end());
}

} // namespace selvar
