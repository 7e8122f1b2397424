#include "platform/linux/JsonFileSettingsStore.h"

#include "platform/fake/FakeEnvironment.h"
#include "records/Log.h"
#include "support/FifoTrap.h"

#include <fstream>
#include <gtest/gtest.h>
#include <limits>
#include <sys/stat.h>
#include <thread>

namespace selvar {
namespace {

namespace fs = std::filesystem;

std::string readFile(const fs::path &p) {
  std::ifstream in(p, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void writeFile(const fs::path &p, const std::string &text) {
  fs::create_directories(p.parent_path());
  std::ofstream(p, std::ios::binary) << text;
}

class JsonFileSettingsStoreTest : public ::testing::Test {
protected:
  std::vector<std::string> filesInConfigDir() const {
    std::vector<std::string> names;
    for (const auto &e : fs::directory_iterator(dir))
      names.push_back(e.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }
  std::string log() {
    Log::flush();
    return readFile(env.files.dataRoot() / "logs/selvar.log");
  }

  FakeEnvironment env;
  fs::path dir = env.files.configDir();
  fs::path file = dir / JsonFileSettingsStore::kFileName;
};

TEST_F(JsonFileSettingsStoreTest, EveryTypeSurvivesTheFileWithItsType) {
  const std::vector<std::pair<std::string, SettingValue>> values = {
      {"bool", true},
      {"int", std::int64_t{-42}},
      {"intMax", std::numeric_limits<std::int64_t>::max()},
      {"intMin", std::numeric_limits<std::int64_t>::min()},
      {"integralDouble", 2.0},
      {"tenth", 0.1},
      {"tiny", -1e-300},
      {"string", std::string("Grüße / \"quoted\" \n 🎙")},
      {"emptyString", std::string()},
      {"bytes", SettingBytes{0x00, 0xff, 0x7b, 0x22}},
      {"emptyBytes", SettingBytes{}},
  };
  {
    JsonFileSettingsStore store(file);
    for (const auto &[key, value] : values)
      store.setValue(key, value);
    store.setValue("removed", true);
    store.remove("removed");
  }
  JsonFileSettingsStore reopened(file);
  for (const auto &[key, value] : values)
    EXPECT_EQ(reopened.value(key), value) << key;
  EXPECT_FALSE(reopened.value("removed"));
  EXPECT_NE(readFile(file).find(R"("bytes": {)"), std::string::npos);
  EXPECT_NE(readFile(file).find(R"("$bytes": "AP97Ig==")"), std::string::npos) << readFile(file);
  // Typed reads of another type are absent.
  EXPECT_FALSE(reopened.boolValue("int"));
  EXPECT_FALSE(reopened.stringValue("bytes"));
  EXPECT_FALSE(reopened.bytesValue("string"));
  EXPECT_FALSE(reopened.intValue("tenth"));
  EXPECT_EQ(reopened.intValue("integralDouble"), 2);
}

TEST_F(JsonFileSettingsStoreTest, HandEditedValuesOfNoKnownTypeReadAbsentAndSurviveWrites) {
  writeFile(file, R"({"list": [1, 2], "nothing": null, "badBase64": {"$bytes": "!!"},
    "bytesAndMore": {"$bytes": "AA==", "x": 1}, "huge": 18446744073709551615,
    "exp": 1e3, "name": "kept"})");
  JsonFileSettingsStore store(file);
  for (const char *key : {"list", "nothing", "badBase64", "bytesAndMore"})
    EXPECT_FALSE(store.value(key)) << key;
  EXPECT_EQ(store.value("huge"), SettingValue(18446744073709551615.0));
  EXPECT_EQ(store.intValue("exp"), 1000);
  store.setValue("new", std::int64_t{1});
  auto text = readFile(file);
  for (const char *kept : {"\"list\"", "\"nothing\"", "\"badBase64\"", "\"name\": \"kept\""})
    EXPECT_NE(text.find(kept), std::string::npos) << kept;
}

TEST_F(JsonFileSettingsStoreTest, CorruptFileIsKeptAsideLoggedAndNeverOverwritten) {
  const std::string broken = R"({"trigger": "fnGlobe", "cancelKey": )";
  writeFile(file, broken);
  JsonFileSettingsStore store(file);
  EXPECT_FALSE(store.value("trigger"));
  const std::string aside = "settings.json.corrupt-20250301T140709Z";
  EXPECT_EQ(filesInConfigDir(), std::vector<std::string>{aside});
  EXPECT_EQ(readFile(dir / aside), broken);
  EXPECT_NE(log().find("settings file unreadable (parse error"), std::string::npos) << log();
  EXPECT_NE(log().find("kept it as " + aside), std::string::npos);

  store.setValue("trigger", std::string("rightCommand"));
  EXPECT_EQ(readFile(dir / aside), broken);
  EXPECT_EQ(JsonFileSettingsStore(file).stringValue("trigger"), "rightCommand");

  // A second broken file in the same second gets its own name; a top-level array is broken too.
  writeFile(file, "[1, 2]");
  EXPECT_FALSE(store.value("trigger"));
  EXPECT_EQ(filesInConfigDir(), (std::vector<std::string>{aside, aside + "-2"}));
  EXPECT_EQ(readFile(dir / (aside + "-2")), "[1, 2]");
}

TEST_F(JsonFileSettingsStoreTest, FifoInPlaceOfTheFileIsMovedAsideWithoutBlocking) {
  fs::create_directories(dir);
  ASSERT_TRUE(testing::makeFifo(file));
  JsonFileSettingsStore store(file);
  std::optional<SettingValue> read;
  ASSERT_TRUE(testing::returnsWithoutBlocking(file, [&] { read = store.value("trigger"); }));
  EXPECT_FALSE(read);
  const std::string aside = "settings.json.corrupt-20250301T140709Z";
  EXPECT_EQ(filesInConfigDir(), std::vector<std::string>{aside});
  EXPECT_TRUE(fs::is_fifo(dir / aside));
  EXPECT_NE(log().find("settings file unreadable (not a regular file): kept it as " + aside),
            std::string::npos)
      << log();
  store.setValue("trigger", std::string("rightCommand"));
  EXPECT_EQ(JsonFileSettingsStore(file).stringValue("trigger"), "rightCommand");
}

TEST_F(JsonFileSettingsStoreTest, EmptyFileIsSimplyNoSettings) {
  writeFile(file, "\n");
  JsonFileSettingsStore store(file);
  EXPECT_FALSE(store.value("anything"));
  EXPECT_EQ(filesInConfigDir(), std::vector<std::string>{"settings.json"});
}

TEST_F(JsonFileSettingsStoreTest, CorruptFileThatCannotBeMovedAsideBlocksSaving) {
  // A name so long that the kept-aside name exceeds the file-name limit while the temporary
  // file's name still fits: moving aside fails even for root, saving itself would work.
  fs::path longFile = dir / std::string(235, 's');
  writeFile(longFile, "garbage");
  {
    JsonFileSettingsStore store(longFile);
    store.setValue("trigger", std::string("fnGlobe"));
    EXPECT_EQ(store.stringValue("trigger"), "fnGlobe"); // kept for this session
  }
  EXPECT_EQ(readFile(longFile), "garbage");
  EXPECT_EQ(filesInConfigDir().size(), 1u);
  EXPECT_NE(log().find("could not be moved aside (File name too long)"), std::string::npos)
      << log();
}

TEST_F(JsonFileSettingsStoreTest, InstancesSeeEachOthersWrites) {
  JsonFileSettingsStore first(file), second(file);
  EXPECT_FALSE(second.value("k"));
  first.setValue("k", std::string("a"));
  EXPECT_EQ(second.stringValue("k"), "a");
  // Same size, written within the same clock tick: the replaced file still shows.
  first.setValue("k", std::string("b"));
  EXPECT_EQ(second.stringValue("k"), "b");
  second.setValue("other", true);
  EXPECT_EQ(first.boolValue("other"), true);
  EXPECT_EQ(first.stringValue("k"), "b");
  first.remove("k");
  EXPECT_FALSE(second.value("k"));
  fs::remove(file);
  EXPECT_FALSE(first.value("other"));
}

TEST_F(JsonFileSettingsStoreTest, WritesLeaveOnlyTheSettingsFile) {
  JsonFileSettingsStore store(file);
  for (int i = 0; i < 3; ++i)
    store.setValue("n", std::int64_t{i});
  EXPECT_EQ(filesInConfigDir(), std::vector<std::string>{"settings.json"});
  struct stat st {};
  ASSERT_EQ(::stat(file.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);
}

TEST_F(JsonFileSettingsStoreTest, ConcurrentWritersLoseNothing) {
  JsonFileSettingsStore store(file);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      for (int i = 0; i < 6; ++i)
        store.setValue("t" + std::to_string(t) + "-" + std::to_string(i), std::int64_t{i});
    });
  for (auto &t : threads)
    t.join();
  JsonFileSettingsStore reopened(file);
  for (int t = 0; t < 4; ++t)
    for (int i = 0; i < 6; ++i)
      EXPECT_EQ(reopened.intValue("t" + std::to_string(t) + "-" + std::to_string(i)), i);
}

} // namespace
} // namespace selvar
