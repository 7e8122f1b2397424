#pragma once
// The icon artwork drawn with Cairo: a dark rounded tile holding the neon pill with its meter
// bars (application icon), and the pill outline with three bars in black (status glyph).

#include "platform/IconRenderer.h"

namespace selvar {

class CairoIconRenderer : public IconRenderer {
public:
  std::optional<std::string> writeAppIcon(const std::filesystem::path &file, int pixels) override;
  std::optional<std::string> writeStatusGlyph(const std::filesystem::path &file,
                                              int pixels) override;
};

} // namespace selvar
