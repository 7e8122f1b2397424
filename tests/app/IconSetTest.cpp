#include "app/IconSet.h"

#include "platform/fake/FakeEnvironment.h"
#include "platform/linux/CairoIconRenderer.h"

#include <fstream>
#include <gtest/gtest.h>

namespace selvar {
namespace {

// Width and height from a PNG's header chunk.
std::pair<int, int> pngSize(const std::filesystem::path &file) {
  std::ifstream in(file, std::ios::binary);
  unsigned char h[24] = {};
  in.read(reinterpret_cast<char *>(h), sizeof h);
  auto be = [&](int at) {
    return (h[at] << 24) | (h[at + 1] << 16) | (h[at + 2] << 8) | h[at + 3];
  };
  return {be(16), be(20)};
}

TEST(IconSetTest, WritesEveryIconAndGlyphAtItsPixelSize) {
  FakeEnvironment env;
  CairoIconRenderer renderer;
  auto folder = env.root() / "icons" / "Selvar.iconset";
  ASSERT_EQ(IconSet::write(folder, renderer), std::nullopt);
  for (const auto &file : IconSet::files())
    EXPECT_EQ(pngSize(folder / file.name), std::make_pair(file.pixels, file.pixels)) << file.name;
  EXPECT_EQ(pngSize(folder / "menubar-2x.png"), std::make_pair(32, 32));
  EXPECT_EQ(pngSize(folder / "icon_512x512@2x.png"), std::make_pair(1024, 1024));
}

TEST(IconSetTest, AnUnwritableFolderReportsWhy) {
  FakeEnvironment env;
  CairoIconRenderer renderer;
  std::ofstream(env.root() / "occupied") << "a file, not a folder";
  auto error = IconSet::write(env.root() / "occupied" / "icons", renderer);
  ASSERT_TRUE(error);
  EXPECT_NE(error->find("occupied"), std::string::npos);
}

} // namespace
} // namespace selvar
