#include "servers/EngineCatalog.h"

#include <gtest/gtest.h>

namespace selvar {
namespace {

TEST(EngineCatalogTest, DefaultEngineFollowsTheServedModelAndNeverPicksWhatCannotRun) {
  PlatformCapabilities mac{true, true}, linuxDesktop{false, false};
  struct Case {
    std::optional<std::string> served;
    PlatformCapabilities platform;
    const char *engine;
  } cases[] = {
      {"mlx-community/whisper-large-v3-turbo", mac, "server-transcription"},
      {std::nullopt, mac, "apple-on-device"},
      {"", mac, "apple-on-device"},
      {"Systran/faster-whisper-small", linuxDesktop, "server-transcription"},
      {std::nullopt, linuxDesktop, "server-transcription"},
  };
  for (const auto &c : cases) {
    std::string chosen = EngineCatalog::defaultEngine(c.served, c.platform);
    EXPECT_EQ(chosen, c.engine) << c.served.value_or("none");
    EXPECT_TRUE(EngineCatalog::find(chosen, c.platform)->runsHere);
  }
}

TEST(EngineCatalogTest, TheSystemLanguageModelIsListedOnlyWhereOffered) {
  auto ids = [](const std::vector<EngineInfo> &engines) {
    std::vector<std::string> out;
    for (const auto &e : engines)
      out.push_back(e.id);
    return out;
  };
  using V = std::vector<std::string>;
  EXPECT_EQ(ids(EngineCatalog::rewriteEngines({false, false})),
            (V{"rules-only", "server-rewrite"}));
  EXPECT_EQ(ids(EngineCatalog::rewriteEngines({true, true})),
            (V{"rules-only", "server-rewrite", "apple-foundation-models"}));
  EXPECT_EQ(ids(EngineCatalog::dictationEngines({false, false})),
            (V{"apple-on-device", "server-transcription"}));
  EXPECT_FALSE(EngineCatalog::find("apple-on-device", {false, false})->runsHere);
  EXPECT_FALSE(EngineCatalog::find("apple-foundation-models", {false, false}));
}

} // namespace
} // namespace selvar
