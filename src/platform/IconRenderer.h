#pragma once
// Draws Selvar's artwork into PNG files: the application icon and the status-bar glyph (a
// one-colour template image the status bar tints).

#include <filesystem>
#include <optional>
#include <string>

namespace selvar {

class IconRenderer {
public:
  virtual ~IconRenderer() = default;
  // Each returns the reason it failed, or nothing when the file was written.
  virtual std::optional<std::string> writeAppIcon(const std::filesystem::path &file,
                                                  int pixels) = 0;
  virtual std::optional<std::string> writeStatusGlyph(const std::filesystem::path &file,
                                                      int pixels) = 0;
};

} // namespace selvar
