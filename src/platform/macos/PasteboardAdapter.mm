#include "platform/macos/PasteboardAdapter.h"

#include "platform/macos/ObjCBridge.h"

#import <AppKit/AppKit.h>

namespace selvar {

std::optional<PasteboardSnapshot> PasteboardAdapter::snapshot() const {
  NSArray<NSPasteboardItem *> *items = [NSPasteboard generalPasteboard].pasteboardItems;
  if (!items) return std::nullopt;
  PasteboardSnapshot snapshot;
  for (NSPasteboardItem *item in items) {
    PasteboardItem copy;
    for (NSPasteboardType type in item.types) {
      NSData *data = [item dataForType:type];
      if (!data) continue; // a promised type whose provider is gone
      const auto *bytes = static_cast<const std::uint8_t *>(data.bytes);
      copy.representations.emplace_back(stdString(type),
                                        std::vector<std::uint8_t>(bytes, bytes + data.length));
    }
    snapshot.push_back(std::move(copy));
  }
  return snapshot;
}

void PasteboardAdapter::setString(const std::string &text) {
  NSPasteboard *pasteboard = [NSPasteboard generalPasteboard];
  [pasteboard clearContents];
  [pasteboard setString:nsString(text) forType:NSPasteboardTypeString];
}

void PasteboardAdapter::restore(const PasteboardSnapshot &items) {
  NSMutableArray<NSPasteboardItem *> *copies = [NSMutableArray array];
  for (const PasteboardItem &item : items) {
    NSPasteboardItem *copy = [[NSPasteboardItem alloc] init];
    for (const auto &[type, bytes] : item.representations)
      [copy setData:[NSData dataWithBytes:bytes.data() length:bytes.size()] forType:nsString(type)];
    [copies addObject:copy];
  }
  NSPasteboard *pasteboard = [NSPasteboard generalPasteboard];
  [pasteboard clearContents];
  [pasteboard writeObjects:copies];
}

std::optional<std::string> PasteboardAdapter::string() const {
  NSString *text = [[NSPasteboard generalPasteboard] stringForType:NSPasteboardTypeString];
  if (!text) return std::nullopt;
  return stdString(text);
}

} // namespace selvar
