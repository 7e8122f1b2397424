#include "platform/FileLocations.h"

#include "platform/Services.h"

#include <system_error>

namespace selvar::Paths {

namespace fs = std::filesystem;

namespace {
fs::path ensured(fs::path p) {
  std::error_code ec;
  fs::create_directories(p, ec);
  return p;
}
} // namespace

fs::path dataRoot() {
  return ensured(services().files->dataRoot());
}
fs::path logs() {
  return ensured(dataRoot() / "logs");
}
fs::path history() {
  return ensured(dataRoot() / "history");
}
fs::path outbox() {
  return ensured(dataRoot() / "outbox");
}
fs::path failedRecordings() {
  return ensured(dataRoot() / "failed");
}
fs::path dictionaryFile() {
  return dataRoot() / "dictionary.json";
}
fs::path asrEnvironment() {
  return services().files->homeDir() / ".local/share/selvar/asr";
}

} // namespace selvar::Paths
