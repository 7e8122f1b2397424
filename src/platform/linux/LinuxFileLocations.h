#pragma once
// XDG folders: data under $XDG_DATA_HOME/selvar, settings under $XDG_CONFIG_HOME/selvar.
// SELVAR_HOME replaces both (data in it, settings in its "config" folder).

#include "platform/FileLocations.h"

namespace selvar {

class LinuxFileLocations : public FileLocations {
public:
  std::filesystem::path dataRoot() const override;
  std::filesystem::path configDir() const override;
  std::filesystem::path homeDir() const override;
  std::filesystem::path tempDir() const override;
  std::optional<std::filesystem::path> resourcesDir() const override;
};

} // namespace selvar
