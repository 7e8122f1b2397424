#pragma once
// Where Selvar keeps its files. The data root honours SELVAR_HOME on every platform, so tests
// and experiments never touch the user's real folders.

#include <filesystem>
#include <optional>

namespace selvar {

class FileLocations {
public:
  virtual ~FileLocations() = default;
  // ~/Library/Application Support/Selvar on macOS, $XDG_DATA_HOME/selvar on Linux.
  virtual std::filesystem::path dataRoot() const = 0;
  // Folder for the settings file where the platform keeps one (Linux); may equal dataRoot.
  virtual std::filesystem::path configDir() const = 0;
  // The user's home folder (for "~/.local/share/selvar/asr").
  virtual std::filesystem::path homeDir() const = 0;
  virtual std::filesystem::path tempDir() const = 0;
  // Folder holding the bundled resources (asr-server.py), when one is found.
  virtual std::optional<std::filesystem::path> resourcesDir() const = 0;
};

// Subfolders of the data root. Each call creates the folder when missing (errors ignored).
namespace Paths {
std::filesystem::path dataRoot();
std::filesystem::path logs();
std::filesystem::path history();
std::filesystem::path outbox();
std::filesystem::path failedRecordings();
std::filesystem::path dictionaryFile();
// "~/.local/share/selvar/asr": the transcription server's virtual environment.
std::filesystem::path asrEnvironment();
} // namespace Paths

} // namespace selvar
