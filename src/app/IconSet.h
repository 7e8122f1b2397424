#pragma once
// The files "--write-icon" produces: the application icon at every size an icon set holds,
// and the status-bar glyph at a base of 16 points once per scale factor.

#include "platform/IconRenderer.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace selvar::IconSet {

struct File {
  std::string name;
  int pixels = 0;
  bool statusGlyph = false;
};

std::vector<File> files();

// Writes every file into the folder (created when missing). Returns the first failure.
std::optional<std::string> write(const std::filesystem::path &folder, IconRenderer &renderer);

} // namespace selvar::IconSet
