#pragma once
// The fixed list of dictation and rewrite engines the settings window offers, and the choice
// of a default dictation engine from what the local transcription server serves.

#include "platform/PlatformCapabilities.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace selvar {

enum class EngineKind { dictation, rewrite };

struct EngineInfo {
  std::string id;
  EngineKind kind = EngineKind::dictation;
  std::string displayName;
  std::string vendor;
  std::string note;
  bool runsHere = false;
  // Served by a local model server rather than by the system.
  bool serverBacked = false;
  // The model the transcription server downloads for this engine; empty when it installs none.
  std::string installModel;
};

namespace EngineId {
inline constexpr const char *appleOnDevice = "apple-on-device";
inline constexpr const char *serverTranscription = "server-transcription";
inline constexpr const char *rulesOnly = "rules-only";
inline constexpr const char *serverRewrite = "server-rewrite";
inline constexpr const char *appleFoundationModels = "apple-foundation-models";
} // namespace EngineId

namespace EngineCatalog {

std::vector<EngineInfo> dictationEngines(const PlatformCapabilities &platform);
// The system language model appears only where the platform offers it.
std::vector<EngineInfo> rewriteEngines(const PlatformCapabilities &platform);
std::optional<EngineInfo> find(std::string_view id, const PlatformCapabilities &platform);

// The server engine when the transcription server serves a model; otherwise the system
// recognizer where there is one. Never an engine that cannot run here.
std::string defaultEngine(const std::optional<std::string> &served,
                          const PlatformCapabilities &platform);
inline std::string defaultEngine(const std::optional<std::string> &served) {
  return defaultEngine(served, platformCapabilities());
}

} // namespace EngineCatalog

} // namespace selvar
