#include "text/DictionaryStore.h"

#include "platform/fake/FakeEnvironment.h"
#include "records/Log.h"
#include "support/FifoTrap.h"

#include <fstream>
#include <gtest/gtest.h>
#include <iterator>

namespace selvar {
namespace {

namespace fs = std::filesystem;

class DictionaryStoreTest : public ::testing::Test {
protected:
  FakeEnvironment env;

  static std::string contents(const fs::path &file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  void writeFile(const std::string &text) {
    std::ofstream(DictionaryStore::fileURL(), std::ios::binary) << text;
  }
  std::string logText() {
    Log::flush();
    return contents(env.files.dataRoot() / "logs" / "selvar.log");
  }
  static std::size_t occurrences(const std::string &text, const std::string &part) {
    std::size_t n = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
      ++n;
    return n;
  }
};

TEST_F(DictionaryStoreTest, NoFileMeansNoRulesAndNoPrompt) {
  EXPECT_EQ(DictionaryStore::fileURL(), env.files.dataRoot() / "dictionary.json");
  EXPECT_TRUE(fs::is_directory(env.files.dataRoot()));
  EXPECT_TRUE(DictionaryStore::rules().empty());
  EXPECT_EQ(DictionaryStore::biasPrompt(), "");
  EXPECT_FALSE(fs::exists(DictionaryStore::fileURL())); // reading never creates the file
}

TEST_F(DictionaryStoreTest, SaveWritesSortedPrettyJsonThatReadsBack) {
  std::vector<DictionaryRule> rules{{"cube control", "kubectl", false},
                                    {"(\\d+) / (\\d+)", "$1 of $2 \"ü\" 👍🏽", true}};
  ASSERT_TRUE(DictionaryStore::save(rules));
  const std::string expected = R"json({
  "rules" : [
    {
      "heard" : "cube control",
      "isRegex" : false,
      "replace" : "kubectl"
    },
    {
      "heard" : "(\\d+) / (\\d+)",
      "isRegex" : true,
      "replace" : "$1 of $2 \"ü\" 👍🏽"
    }
  ]
})json";
  EXPECT_EQ(contents(DictionaryStore::fileURL()), expected);
  EXPECT_EQ(DictionaryStore::rules(), rules);
  EXPECT_NE(logText().find("dictionary saved 2 rules"), std::string::npos);
}

TEST_F(DictionaryStoreTest, FileThatDoesNotDecodeMeansNoRulesAndIsNeverRewrittenByARead) {
  const std::string rule = R"("heard": "a", "replace": "b")";
  const std::string broken[] = {
      R"({"rules": [{)" + rule + R"(}]})",                    // lacks "isRegex"
      R"({"rules": [{)" + rule + R"(, "isRegex": "true"}]})", // not a boolean
      R"({"rules": [{"heard": 1, "replace": "b", "isRegex": false}]})",
      R"({"rules": {}})",
      R"({"words": []})",
      R"([])",
      R"({"rules": [)",
      "{\"rules\": [{\"heard\": \"caf\xe9\", \"replace\": \"b\", \"isRegex\": false}]}",
      "",
  };
  for (const auto &text : broken) {
    writeFile(text);
    EXPECT_TRUE(DictionaryStore::rules().empty()) << text;
    EXPECT_TRUE(DictionaryStore::rules().empty()) << text;
    EXPECT_EQ(DictionaryStore::biasPrompt(), "") << text;
    EXPECT_EQ(contents(DictionaryStore::fileURL()), text);
  }
  // Each broken version of the file is logged when it turns up, not on every read.
  EXPECT_EQ(occurrences(logText(), "dictionary does not decode"), std::size(broken));
}

TEST_F(DictionaryStoreTest, UnknownKeysAreIgnored) {
  writeFile(R"({"version": 2, "rules": [{"heard": "a", "replace": "b", "isRegex": false,
                "note": "mine"}]})");
  EXPECT_EQ(DictionaryStore::rules(), (std::vector<DictionaryRule>{{"a", "b", false}}));
}

TEST_F(DictionaryStoreTest, SavingOverAFileThatDoesNotDecodeKeepsACopyOfIt) {
  const std::string handEdited = R"({"rules": [{"heard": "mine", "replace": "precious"}]})";
  writeFile(handEdited);
  ASSERT_TRUE(DictionaryStore::save({{"new", "rule", false}}));
  std::vector<fs::path> copies;
  for (const auto &entry : fs::directory_iterator(env.files.dataRoot()))
    if (entry.path().filename().string().starts_with("dictionary.unreadable-"))
      copies.push_back(entry.path());
  ASSERT_EQ(copies.size(), 1u);
  EXPECT_EQ(contents(copies[0]), handEdited);
  EXPECT_EQ(DictionaryStore::rules().size(), 1u);
}

TEST_F(DictionaryStoreTest, FifoInPlaceOfTheFileIsRefusedWithoutBlockingAndKept) {
  fs::path file = DictionaryStore::fileURL();
  ASSERT_TRUE(testing::makeFifo(file));
  std::vector<DictionaryRule> rules{{"x", "y", false}};
  ASSERT_TRUE(testing::returnsWithoutBlocking(file, [&] { rules = DictionaryStore::rules(); }));
  EXPECT_TRUE(rules.empty());
  EXPECT_NE(logText().find("dictionary unreadable, no rules in use: " + file.string() +
                           ": not a regular file"),
            std::string::npos)
      << logText();
  bool saved = true;
  ASSERT_TRUE(testing::returnsWithoutBlocking(file, [&] {
    saved = DictionaryStore::save({{"new", "rule", false}});
  }));
  EXPECT_FALSE(saved);
  EXPECT_NE(logText().find("dictionary write failed: " + file.string() + ": not a regular file"),
            std::string::npos);
  EXPECT_TRUE(fs::is_fifo(file));
}

TEST_F(DictionaryStoreTest, StarterFileIsWrittenOnlyWhenMissing) {
  ASSERT_TRUE(DictionaryStore::createStarterFileIfMissing());
  EXPECT_EQ(DictionaryStore::rules(), DictionaryStore::starterRules());
  EXPECT_EQ(DictionaryStore::starterRules(),
            (std::vector<DictionaryRule>{{"example phrase", "Example Phrase", false}}));
  writeFile("not json");
  ASSERT_TRUE(DictionaryStore::createStarterFileIfMissing());
  EXPECT_EQ(contents(DictionaryStore::fileURL()), "not json");
}

TEST_F(DictionaryStoreTest, BiasPromptStaysUnderTwoHundredAndOneCharacters) {
  using DictionaryStore::biasPrompt;
  EXPECT_EQ(biasPrompt({{"jason", "JSON", false}, {"", "x", false}, {"cube control", "k", true}}),
            "jason, cube control");
  const std::string a198(198, 'a'), e200 = [] {
    std::string s;
    for (int i = 0; i < 200; ++i)
      s += "e\u0301"; // 200 characters, 600 bytes
    return s;
  }();
  EXPECT_EQ(biasPrompt({{a198, "", false}, {"b", "", false}}), a198);     // 201 with ", b"
  EXPECT_EQ(biasPrompt({{e200, "", false}, {"b", "", false}}), e200);     // exactly 200 kept
  EXPECT_EQ(biasPrompt({{e200 + "e", "", false}, {"b", "", false}}), ""); // a first phrase of 201
  EXPECT_EQ(biasPrompt({{std::string(197, 'a'), "", false}, {"b", "", false}, {"c", "", false}}),
            std::string(197, 'a') + ", b"); // 200 characters; ", c" would make 203
}

} // namespace
} // namespace selvar
