#include "records/Diagnostics.h"

#include "platform/fake/FakeEnvironment.h"
#include "records/Log.h"
#include "records/RecordTestSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>

namespace selvar {
namespace {

namespace fs = std::filesystem;
using json = nlohmann::json;
using recordtest::readFile;
using recordtest::setModified;
using recordtest::utc;
using recordtest::writeFile;

class DiagnosticsTest : public ::testing::Test {
protected:
  std::vector<std::string> lines() {
    Diagnostics::flush();
    std::istringstream in(readFile(dir / "diagnostics.jsonl"));
    std::vector<std::string> out;
    for (std::string line; std::getline(in, line);)
      out.push_back(line);
    return out;
  }

  json lastRecord() {
    auto all = lines();
    return all.empty() ? json() : json::parse(all.back());
  }

  FakeEnvironment env{ManualMainQueue::defaultWallStart() + std::chrono::milliseconds(123)};
  fs::path dir = Log::directory();
};

TEST_F(DiagnosticsTest, SummaryLinesAreExact) {
  Diagnostics::Utterance u;
  u.setSampleRate(16000);
  u.audio(0.1f, 1600);
  u.audio(0.002f, 1600); // silent
  u.audio(0.3f, 1600);
  env.queue.advance(0.25);
  u.partial("  hello \n");
  env.queue.advance(0.5);
  u.partial("hello wor");
  env.queue.advance(0.5);
  u.finish("release", "hello", 0.0625, "HTTP/1.1 500");

  Diagnostics::Utterance empty;
  empty.setSampleRate(0);
  empty.finish("cancel", "", 2.0, std::nullopt);

  auto all = lines();
  ASSERT_EQ(all.size(), 2u);
  for (auto [line, id] : {std::pair{&all[0], u.id()}, {&all[1], empty.id()}}) {
    EXPECT_THAT(id, ::testing::MatchesRegex("[0-9a-f]{8}"));
    line->replace(line->find(id), id.size(), "ID");
  }
  // "t" is when each utterance started, not when it finished.
  EXPECT_EQ(all[0],
            R"({"audio_s":1.25,"audio_seconds_captured":0.3,"buffers":3,)"
            R"("error":"HTTP\/1.1 500","final_chars":5,"frames":4800,"id":"ID",)"
            R"("kind":"utterance","longest_partial_chars":9,"partials":2,"reason":"release",)"
            R"("reported_seconds":0.063,"rms_avg":0.1826,"rms_peak":0.3,"silent_buffer_pct":33,)"
            R"("suspect_truncation":true,"t":"2025-03-01T14:07:09.123Z",)"
            R"("timeline":[{"chars":5,"t":0.25},{"chars":9,"t":0.75}]})");
  // No audio: integer zeros, and a duration floored at a millisecond.
  EXPECT_EQ(all[1], R"({"audio_s":0.001,"audio_seconds_captured":0,"buffers":0,"error":"",)"
                    R"("final_chars":0,"frames":0,"id":"ID","kind":"utterance",)"
                    R"("longest_partial_chars":0,"partials":0,"reason":"cancel",)"
                    R"("reported_seconds":2,"rms_avg":0,"rms_peak":0,"silent_buffer_pct":0,)"
                    R"("suspect_truncation":false,"t":"2025-03-01T14:07:10.373Z","timeline":[]})");
}

TEST_F(DiagnosticsTest, TimelineStopsAt120WhileLongestKeepsGrowing) {
  Diagnostics::Utterance u;
  for (int i = 1; i <= 130; ++i) {
    env.queue.advance(0.001);
    u.partial(std::string(static_cast<std::size_t>(i), 'x'));
    for (const char *blank : {"", "   ", "\n\t", "\u3000"})
      u.partial(blank);
  }
  u.finish("release", std::string(130, 'x'), 1, std::nullopt);
  json r = lastRecord();
  EXPECT_EQ(r["partials"], 120);
  ASSERT_EQ(r["timeline"].size(), 120u);
  EXPECT_EQ(r["timeline"].back(), (json{{"chars", 120}, {"t", 0.12}}));
  EXPECT_EQ(r["longest_partial_chars"], 130);
  EXPECT_EQ(r["suspect_truncation"], false);
}

TEST_F(DiagnosticsTest, SuspectTruncationComparesUserPerceivedCharacters) {
  struct Case {
    std::vector<std::string> partials;
    std::string finalText;
    int longest;
    bool suspect;
  } cases[] = {
      {{"seventeen letters"}, "eleven char", 17, true},
      {{"seventeen letters", "short"}, "seventeen letter!", 17, false},
      {{"seventeen letters"}, "twenty characters!!!", 17, false},
      {{}, "", 0, false},
      // Three characters, six code points, nine bytes.
      {{"e\u0301e\u0301e\u0301"}, "abc", 3, false},
      // A toned thumbs-up is one character.
      {{"\U0001F44D\U0001F3FD ok"}, "ok", 4, true},
  };
  for (const auto &c : cases) {
    Diagnostics::Utterance u;
    for (const auto &p : c.partials)
      u.partial(p);
    u.finish("release", c.finalText, 1, std::nullopt);
    json r = lastRecord();
    EXPECT_EQ(r["longest_partial_chars"], c.longest) << c.finalText;
    EXPECT_EQ(r["suspect_truncation"], c.suspect) << c.finalText;
  }
}

TEST_F(DiagnosticsTest, EventEnvelopeWinsAndNumbersKeepTheirKind) {
  Diagnostics::event("hud.show", {{"kind", "custom"},
                                  {"name", "other"},
                                  {"t", 1},
                                  {"path", "/tmp/a"},
                                  {"count", 3},
                                  {"ratio", 2.0},
                                  {"level", 0.1},
                                  {"nested", {{"b", 1}, {"a", true}}}});
  Diagnostics::event("hands-free.armed");
  Diagnostics::event("capture.input", {{"rms", std::nan("")}}); // not JSON: dropped
  Diagnostics::event("capture.input", {{"device", "Mic \xFF"}});
  auto all = lines();
  ASSERT_EQ(all.size(), 3u);
  EXPECT_EQ(all[0], R"({"count":3,"kind":"event","level":0.1,"name":"hud.show",)"
                    R"("nested":{"a":true,"b":1},"path":"\/tmp\/a","ratio":2,)"
                    R"("t":"2025-03-01T14:07:09.123Z"})");
  EXPECT_EQ(all[1], R"({"kind":"event","name":"hands-free.armed","t":"2025-03-01T14:07:09.123Z"})");
  EXPECT_EQ(json::parse(all[2])["device"], "Mic \uFFFD");
}

TEST_F(DiagnosticsTest, RotationIsCheckedBeforeEveryAppend) {
  for (std::size_t size : {4'000'000u, 4'000'001u}) {
    SCOPED_TRACE(size);
    Diagnostics::clear();
    Diagnostics::flush();
    writeFile(dir / "diagnostics.jsonl", std::string(size - 1, 'x') + "\n");
    for (int i = 1; i <= 3; ++i)
      writeFile(dir / ("diagnostics." + std::to_string(i) + ".jsonl"), "g" + std::to_string(i));
    Diagnostics::event("segment.rollover");
    auto current = lines();
    if (size > 4'000'000) {
      ASSERT_EQ(current.size(), 1u);
      EXPECT_EQ(fs::file_size(dir / "diagnostics.1.jsonl"), size);
      EXPECT_EQ(readFile(dir / "diagnostics.2.jsonl"), "g1");
      EXPECT_EQ(readFile(dir / "diagnostics.3.jsonl"), "g2");
    } else {
      EXPECT_EQ(current.size(), 2u);
      EXPECT_EQ(readFile(dir / "diagnostics.1.jsonl"), "g1");
    }
    EXPECT_FALSE(fs::exists(dir / "diagnostics.4.jsonl"));
  }
}

TEST_F(DiagnosticsTest, PurgeGoesByCalendarDaysAndSparesTheTextLog) {
  // Noon in Berlin, one week after the switch to summer time.
  recordtest::ScopedTimeZone berlin("CET-1CEST,M3.5.0,M10.5.0/3");
  env.queue.setWallNow(utc(2025, 4, 1, 10, 0, 0));
  struct File {
    const char *name;
    WallTime modified;
    bool keptBy7;
  } files[] = {
      // Seven calendar days back is 12:00 CET, 11:00 UTC, not 7 × 24 hours.
      {"diagnostics.jsonl", utc(2025, 3, 25, 11, 0, 0), true},
      {"diagnostics.2.jsonl", utc(2025, 3, 25, 10, 30, 0), false},
      {"diagnostics.1.jsonl", utc(2025, 3, 24, 10, 0, 0), false},
      {"selvar.log", utc(2024, 1, 1, 0, 0, 0), true},
      {"selvar.3.log", utc(2020, 1, 1, 0, 0, 0), true},
  };
  for (const auto &f : files) {
    writeFile(dir / f.name, "x\n");
    setModified(dir / f.name, f.modified);
  }
  for (int keepForever : {0, -1})
    Diagnostics::purge(keepForever);
  Diagnostics::flush();
  for (const auto &f : files)
    EXPECT_TRUE(fs::exists(dir / f.name)) << f.name;
  Diagnostics::purge(7);
  Diagnostics::flush();
  for (const auto &f : files)
    EXPECT_EQ(fs::exists(dir / f.name), f.keptBy7) << f.name;
}

TEST_F(DiagnosticsTest, ClearRemovesEveryGenerationInCallOrder) {
  writeFile(dir / "selvar.log", "log\n");
  writeFile(dir / "diagnostics.2.jsonl", "old\n");
  Diagnostics::event("utterance.begin");
  Diagnostics::clear();
  Diagnostics::event("utterance.end");
  EXPECT_EQ(lastRecord()["name"], "utterance.end");
  EXPECT_EQ(lines().size(), 1u);
  EXPECT_FALSE(fs::exists(dir / "diagnostics.2.jsonl"));
  EXPECT_TRUE(fs::exists(dir / "selvar.log"));
}

TEST_F(DiagnosticsTest, PurgeAndClearLeaveAFolderNamedLikeAGenerationAlone) {
  fs::create_directories(dir / "diagnostics.3.jsonl");
  writeFile(dir / "diagnostics.3.jsonl" / "keep.txt", "mine\n");
  setModified(dir / "diagnostics.3.jsonl", utc(2020, 1, 1, 0, 0, 0));
  writeFile(dir / "diagnostics.2.jsonl", "old\n");
  setModified(dir / "diagnostics.2.jsonl", utc(2020, 1, 1, 0, 0, 0));
  Diagnostics::purge(7);
  Diagnostics::flush();
  EXPECT_FALSE(fs::exists(dir / "diagnostics.2.jsonl"));
  Diagnostics::clear();
  Diagnostics::flush();
  EXPECT_EQ(readFile(dir / "diagnostics.3.jsonl" / "keep.txt"), "mine\n");
}

} // namespace
} // namespace selvar
