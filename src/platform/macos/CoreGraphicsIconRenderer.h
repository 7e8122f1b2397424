#pragma once
// Selvar's artwork drawn with Core Graphics: the application icon (a neon pill on a dark tile)
// and the status-bar glyph (a pill outline around three bars), written as PNG files, and the
// glyph as the status item's template image.

#include "platform/IconRenderer.h"

@class NSImage;

namespace selvar {

class CoreGraphicsIconRenderer : public IconRenderer {
public:
  std::optional<std::string> writeAppIcon(const std::filesystem::path &file, int pixels) override;
  std::optional<std::string> writeStatusGlyph(const std::filesystem::path &file,
                                              int pixels) override;
};

// The glyph as a template image of the given size in points, for the status bar to tint.
NSImage *statusBarGlyph(double points);

} // namespace selvar
