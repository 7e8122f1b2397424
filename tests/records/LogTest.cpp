#include "records/Log.h"

#include "platform/fake/FakeEnvironment.h"
#include "records/RecordTestSupport.h"

#include <gtest/gtest.h>

namespace selvar {
namespace {

namespace fs = std::filesystem;
using recordtest::readFile;
using recordtest::writeFile;

class LogTest : public ::testing::Test {
protected:
  fs::path file(int generation) const {
    return generation == 0 ? dir / "selvar.log"
                           : dir / ("selvar." + std::to_string(generation) + ".log");
  }

  FakeEnvironment env;
  fs::path dir = Log::directory();
};

TEST_F(LogTest, RotatesAtLaunchOnlyAboveOneMillionBytes) {
  for (std::size_t size : {1'000'000u, 1'000'001u}) {
    SCOPED_TRACE(size);
    fs::remove_all(dir);
    fs::create_directories(dir);
    writeFile(file(0), std::string(size, 'x'));
    Log::install(false);
    bool rotated = size > 1'000'000;
    EXPECT_EQ(fs::exists(file(1)), rotated);
    EXPECT_EQ(fs::file_size(file(0)), rotated ? 0u : size);
  }
}

TEST_F(LogTest, RotationShiftsEveryGenerationAndDropsTheOldest) {
  writeFile(file(0), std::string(1'000'001, 'c'));
  for (int i = 1; i <= 5; ++i)
    writeFile(file(i), "generation " + std::to_string(i));
  Log::install(false);
  EXPECT_EQ(fs::file_size(file(0)), 0u);
  EXPECT_EQ(fs::file_size(file(1)), 1'000'001u);
  for (int i = 2; i <= 5; ++i)
    EXPECT_EQ(readFile(file(i)), "generation " + std::to_string(i - 1));
  EXPECT_FALSE(fs::exists(file(6)));
}

TEST_F(LogTest, RotationMovesAGapUpAndSkipsMissingGenerations) {
  writeFile(file(0), std::string(1'000'001, 'c'));
  writeFile(file(2), "two");
  Log::install(false);
  EXPECT_EQ(Log::rotatedFilesNewestFirst(), (std::vector{file(0), file(1), file(3)}));
  EXPECT_EQ(readFile(file(3)), "two");
}

TEST_F(LogTest, TailBudgets) {
  writeFile(file(1), "old first\nold second\n");
  writeFile(file(0), "new first\nnew second\n");
  const std::string all = "old first\nold second\nnew first\nnew second\n";
  struct Case {
    std::size_t bytes;
    std::string expected;
  } cases[] = {
      {0, ""},
      // A budget that cuts into the files returns the cut text, partial first line and all.
      {6, "econd\n"},
      {25, "ond\nnew first\nnew second\n"},
      {all.size(), all},
      // Only a budget larger than everything drops the oldest file's first line.
      {all.size() + 1, "old second\nnew first\nnew second\n"},
      {64000, "old second\nnew first\nnew second\n"},
  };
  for (const auto &c : cases)
    EXPECT_EQ(Log::tail(c.bytes), c.expected) << c.bytes;
}

TEST_F(LogTest, TailRepairsACutThroughAMultiByteCharacter) {
  writeFile(file(0), "caf\xC3\xA9\n"); // "café"
  EXPECT_EQ(Log::tail(2), "\uFFFD\n");
}

TEST_F(LogTest, WriteIsTimestampedAtTheCallAndSeenByTheNextTail) {
  fs::remove_all(dir); // the first write creates the file the tail must then find
  Log::write("launch");
  Log::write("hotkey: trigger down");
  env.queue.advance(90); // the timestamp is the call's, not the disk write's
  EXPECT_EQ(Log::tail(64000), "2025-03-01T14:07:09Z hotkey: trigger down\n");
}

} // namespace
} // namespace selvar
