#include "app/IconSet.h"

namespace selvar::IconSet {

namespace {
constexpr int kGlyphPoints = 16;
constexpr int kGlyphScales[] = {1, 2, 3};
constexpr int kIconPoints[] = {16, 32, 128, 256, 512};
} // namespace

std::vector<File> files() {
  std::vector<File> out;
  for (int points : kIconPoints) {
    std::string base = "icon_" + std::to_string(points) + "x" + std::to_string(points);
    out.push_back({base + ".png", points, false});
    out.push_back({base + "@2x.png", points * 2, false});
  }
  for (int scale : kGlyphScales)
    out.push_back({"menubar-" + std::to_string(scale) + "x.png", kGlyphPoints * scale, true});
  return out;
}

std::optional<std::string> write(const std::filesystem::path &folder, IconRenderer &renderer) {
  std::error_code ec;
  std::filesystem::create_directories(folder, ec);
  if (ec) return "cannot create " + folder.string() + ": " + ec.message();
  for (const auto &file : files()) {
    auto path = folder / file.name;
    auto error = file.statusGlyph ? renderer.writeStatusGlyph(path, file.pixels)
                                  : renderer.writeAppIcon(path, file.pixels);
    if (error) return error;
  }
  return std::nullopt;
}

} // namespace selvar::IconSet
