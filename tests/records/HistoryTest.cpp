#include "records/History.h"

#include "platform/fake/FakeEnvironment.h"
#include "records/Log.h"
#include "records/RecordTestSupport.h"
#include "support/FifoTrap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace selvar {
namespace {

namespace fs = std::filesystem;
using recordtest::readFile;
using recordtest::setModified;
using recordtest::utc;
using recordtest::writeFile;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

std::string record(const std::string &text, const std::string &ts = "2025-03-01T10:00:00Z") {
  return "{\"audio_seconds\":1.5,\"engine\":\"apple-on-device\",\"latency_seconds\":0.25,"
         "\"text\":\"" +
         text + "\",\"ts\":\"" + ts + "\"}\n";
}

std::vector<std::string> texts(const std::vector<History::Utterance> &list) {
  std::vector<std::string> out;
  for (const auto &u : list)
    out.push_back(u.text);
  return out;
}

class HistoryTest : public ::testing::Test {
protected:
  void addFile(const std::string &name, const std::string &content, WallTime modified) {
    writeFile(dir / name, content);
    setModified(dir / name, modified);
  }

  recordtest::ScopedTimeZone tz{"UTC0"};
  FakeEnvironment env;
  fs::path dir = History::directory();
  WallTime now = env.queue.wallNow();
};

TEST_F(HistoryTest, DayFilesChangeAtLocalMidnight) {
  recordtest::ScopedTimeZone plusTwo("XYZ-2");
  env.queue.setWallNow(utc(2025, 3, 1, 21, 59, 59)); // 23:59:59 local
  History::append("a/b \"q\"", 2.0, 0.0625);
  env.queue.setWallNow(utc(2025, 3, 1, 22, 0, 1)); // 00:00:01 local, the next day
  History::append("next day", 1.2344, 0.5);
  History::append("again", 0, 0);
  EXPECT_EQ(readFile(dir / "2025-03-01.jsonl"),
            R"({"audio_seconds":2,"engine":"apple-on-device","latency_seconds":0.063,)"
            R"("text":"a\/b \"q\"","ts":"2025-03-01T21:59:59Z"})"
            "\n");
  auto nextDay = History::recentUtterances(5);
  ASSERT_EQ(texts(nextDay), (std::vector<std::string>{"again", "next day", "a/b \"q\""}));
  EXPECT_EQ(nextDay[1], (History::Utterance{"next day", 1.234, 0.5, utc(2025, 3, 1, 22, 0, 1)}));
}

TEST_F(HistoryTest, RecentUtterancesFollowModificationTimeThenLinesBackwards) {
  // Named for an old day but modified last: it is read first.
  addFile("2025-01-05.jsonl",
          record("A") + record("B") + "not json\n" + record("C", "garbage") + "{\"text\":5}\n\n",
          now - std::chrono::minutes(1));
  addFile("2025-03-01.jsonl", record("Y1") + record("Y2"), now - std::chrono::hours(20));
  addFile("notes.txt", record("ignored"), now);
  struct Case {
    int limit;
    std::vector<std::string> expected;
  } cases[] = {
      {-1, {}},
      {0, {}},
      {3, {"C", "B", "A"}},
      {4, {"C", "B", "A", "Y2"}},
      {10, {"C", "B", "A", "Y2", "Y1"}},
  };
  for (const auto &c : cases)
    EXPECT_THAT(texts(History::recentUtterances(c.limit)), ElementsAreArray(c.expected)) << c.limit;
  auto recent = History::recentUtterances(2);
  EXPECT_EQ(recent[0].date, History::kDistantPast); // unreadable "ts" keeps the record
  EXPECT_EQ(recent[1], (History::Utterance{"B", 1.5, 0.25, utc(2025, 3, 1, 10, 0, 0)}));
}

TEST_F(HistoryTest, MostRecentTextReadsOnlyTheNewestFile) {
  EXPECT_EQ(History::mostRecentText(), std::nullopt);
  EXPECT_THAT(History::recentUtterances(5), IsEmpty());

  addFile("2025-02-28.jsonl", record("yesterday"), now - std::chrono::hours(24));
  addFile("2025-03-01.jsonl", record("first") + record("last") + "   \n\n",
          now - std::chrono::hours(1));
  EXPECT_EQ(History::mostRecentText(), "last");

  addFile("2025-03-01.jsonl", record("first") + "{\"text\":\n", now - std::chrono::hours(1));
  EXPECT_EQ(History::mostRecentText(), std::nullopt);
}

TEST_F(HistoryTest, DamagedBytesCostOnlyTheirOwnLine) {
  History::append("caf\xE9", 1, 1); // Latin-1 from somewhere upstream
  EXPECT_EQ(History::mostRecentText(), "caf\uFFFD");
  addFile("2025-03-01.jsonl", record("ok one") + "\xFF\xFE garbage\n" + record("ok \xFF two"), now);
  EXPECT_THAT(texts(History::recentUtterances(5)), ElementsAreArray({"ok \uFFFD two", "ok one"}));
}

TEST_F(HistoryTest, PurgeGoesByModificationTimeNotName) {
  struct File {
    const char *name;
    WallTime modified;
    bool keptBy30;
  } files[] = {
      {"2025-03-01.jsonl", now - std::chrono::days(31), false},
      {"2024-01-01.jsonl", now - std::chrono::days(29), true},
      {"2025-01-30.jsonl", now - std::chrono::days(30), true}, // exactly at the cutoff
      {"notes.txt", now - std::chrono::days(100), true},
      {"2024-01-01.jsonl.bak", now - std::chrono::days(100), true},
  };
  for (const auto &f : files)
    addFile(f.name, record("x"), f.modified);
  History::purge(0);
  for (const auto &f : files)
    EXPECT_TRUE(fs::exists(dir / f.name)) << f.name;
  History::purge(30);
  for (const auto &f : files)
    EXPECT_EQ(fs::exists(dir / f.name), f.keptBy30) << f.name;
}

// Only the day files themselves go: a folder or a link that carries a day file's name, and
// whatever it holds or points to, stays.
TEST_F(HistoryTest, PurgeRemovesOnlyRegularDayFiles) {
  auto old = now - std::chrono::days(40);
  fs::create_directories(dir / "2025-01-01.jsonl" / "inside");
  addFile("2025-01-01.jsonl/inside/2025-01-02.jsonl", record("deep"), old);
  setModified(dir / "2025-01-01.jsonl", old);
  fs::path target = env.files.dataRoot() / "elsewhere.jsonl";
  writeFile(target, record("theirs"));
  setModified(target, old);
  fs::create_symlink(target, dir / "2025-01-03.jsonl");
  addFile("2025-01-04.jsonl", record("gone"), old);
  History::purge(30);
  EXPECT_TRUE(fs::exists(dir / "2025-01-01.jsonl/inside/2025-01-02.jsonl"));
  EXPECT_TRUE(fs::is_symlink(dir / "2025-01-03.jsonl"));
  EXPECT_EQ(readFile(target), record("theirs"));
  EXPECT_FALSE(fs::exists(dir / "2025-01-04.jsonl"));
}

// A FIFO named like a day file or like the log must hang neither the readers nor the writers.
TEST_F(HistoryTest, FifosInPlaceOfRecordFilesArePassedOverWithoutBlocking) {
  addFile("2025-01-01.jsonl", record("kept"), now - std::chrono::days(1));
  fs::path fifo = dir / "2025-01-02.jsonl";
  ASSERT_TRUE(testing::makeFifo(fifo));
  std::vector<History::Utterance> recent;
  ASSERT_TRUE(
      testing::returnsWithoutBlocking(fifo, [&] { recent = History::recentUtterances(5); }));
  EXPECT_THAT(texts(recent), ElementsAreArray({"kept"}));
  fs::path logFifo = Log::directory() / "selvar.log";
  fs::create_directories(logFifo.parent_path());
  ASSERT_TRUE(testing::makeFifo(logFifo));
  ASSERT_TRUE(testing::returnsWithoutBlocking(logFifo, [] {
    Log::install(false);
    Log::write("still running");
    Log::flush();
    (void)Log::tail(1000);
  }));
  EXPECT_TRUE(fs::is_fifo(fifo));
}

} // namespace
} // namespace selvar
