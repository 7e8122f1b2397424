#include "servers/EngineCatalog.h"

namespace selvar::EngineCatalog {

std::vector<EngineInfo> dictationEngines(const PlatformCapabilities &platform) {
  return {
      {EngineId::appleOnDevice, EngineKind::dictation, "Apple On-Device", "Apple",
       "The system's own recognizer, running on this machine. Quick to start; needs the Speech "
       "Recognition permission.",
       platform.onDeviceRecognizer, false, ""},
      {EngineId::serverTranscription, EngineKind::dictation, "Whisper Large v3 Turbo", "OpenAI",
       "Runs in the local transcription server on 127.0.0.1:8020. More accurate on long or "
       "technical speech; needs the one-time server setup and a model download.",
       true, true, "mlx-community/whisper-large-v3-turbo"},
  };
}

std::vector<EngineInfo> rewriteEngines(const PlatformCapabilities &platform) {
  std::vector<EngineInfo> engines{
      {EngineId::rulesOnly, EngineKind::rewrite, "Rules Only", "Selvar",
       "Clean-up rules and your dictionary only. Instant, and the text is never reworded.", true,
       false, ""},
      {EngineId::serverRewrite, EngineKind::rewrite, "Qwen3 1.7B", "Qwen",
       "A small language model in a local chat-completions server on 127.0.0.1:8021 tidies the "
       "text within the rewrite budget. You start that server yourself.",
       true, true, ""},
  };
  if (platform.foundationModels)
    engines.push_back({EngineId::appleFoundationModels, EngineKind::rewrite,
                       "Apple Foundation Models", "Apple",
                       "The system's on-device language model. No setup; available only where "
                       "the system offers it.",
                       true, false, ""});
  return engines;
}

std::optional<EngineInfo> find(std::string_view id, const PlatformCapabilities &platform) {
  for (const auto &list : {dictationEngines(platform), rewriteEngines(platform)})
    for (const auto &engine : list)
      if (engine.id == id) return engine;
  return std::nullopt;
}

std::string defaultEngine(const std::optional<std::string> &served,
                          const PlatformCapabilities &platform) {
  if (served && !served->empty()) return EngineId::serverTranscription;
  // Without a recognizer of its own the platform can only dictate through the server, which
  // starts on the first recording.
  return platform.onDeviceRecognizer ? EngineId::appleOnDevice : EngineId::serverTranscription;
}

} // namespace selvar::EngineCatalog
