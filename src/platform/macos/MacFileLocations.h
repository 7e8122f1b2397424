#pragma once
// Selvar's folders on macOS: data in ~/Library/Application Support/Selvar (or SELVAR_HOME), the
// bundled resources in the application's Resources folder.

#include "platform/FileLocations.h"

namespace selvar {

class MacFileLocations : public FileLocations {
public:
  std::filesystem::path dataRoot() const override;
  // Settings live in the user defaults, so there is no settings folder of its own.
  std::filesystem::path configDir() const override { return dataRoot(); }
  std::filesystem::path homeDir() const override;
  std::filesystem::path tempDir() const override;
  std::optional<std::filesystem::path> resourcesDir() const override;
};

} // namespace selvar
