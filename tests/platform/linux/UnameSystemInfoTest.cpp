#include "platform/linux/UnameSystemInfo.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace selvar {
namespace {

TEST(UnameSystemInfoTest, ReleaseBecomesThreeNumbers) {
  struct Case {
    const char *release;
    std::optional<std::string> version;
  } cases[] = {
      {"6.1.0-18-amd64", "6.1.0"}, {"5.15.153.1-microsoft-standard-WSL2", "5.15.153"},
      {"6.8-rc3", "6.8.0"},        {"7", "7.0.0"},
      {"", std::nullopt},          {"rc1", std::nullopt},
  };
  for (const auto &c : cases)
    EXPECT_EQ(UnameSystemInfo::releaseVersion(c.release), c.version) << c.release;
  EXPECT_EQ(UnameSystemInfo::architectureName("aarch64"), "arm64");
  EXPECT_EQ(UnameSystemInfo::architectureName("x86_64"), "x86_64");
}

TEST(UnameSystemInfoTest, ThisMachineReportsEveryFact) {
  SystemInfo info = UnameSystemInfo().current();
  EXPECT_EQ(info.appVersion, SELVAR_VERSION);
  EXPECT_EQ(info.build, SELVAR_VERSION);
  ASSERT_TRUE(info.osVersion);
  EXPECT_EQ(std::count(info.osVersion->begin(), info.osVersion->end(), '.'), 2);
  EXPECT_TRUE(info.architecture);
}

} // namespace
} // namespace selvar
