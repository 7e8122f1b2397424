#include "support/JsonWriter.h"

#include <gtest/gtest.h>
#include <limits>

namespace selvar {
namespace {

using json = nlohmann::json;

TEST(JsonWriterTest, ScalarsMatchThePlatformEncoder) {
  struct Case {
    json value;
    std::string compact;
    std::string pretty;
  } cases[] = {
      {"a/b", R"("a\/b")", R"("a/b")"},
      {"\"\\", R"("\"\\")", R"("\"\\")"},
      {"\n\t\r\b\f\x01\x1f", R"("\n\t\r\b\f\u0001\u001f")", R"("\n\t\r\b\f\u0001\u001f")"},
      {"\xC3\xA9\xF0\x9F\x98\x80", "\"\xC3\xA9\xF0\x9F\x98\x80\"", "\"\xC3\xA9\xF0\x9F\x98\x80\""},
      {2.0, "2", "2"},
      {-3.0, "-3", "-3"},
      {0.1, "0.1", "0.1"},
      {0.1 + 0.2, "0.30000000000000004", "0.30000000000000004"},
      {1234.5678, "1234.5678", "1234.5678"},
      {-7, "-7", "-7"},
      {std::numeric_limits<std::uint64_t>::max(), "18446744073709551615", "18446744073709551615"},
      {true, "true", "true"},
      {nullptr, "null", "null"},
      {json::object(), "{}", "{}"},
      {json::array(), "[]", "[]"},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(JsonWriter::compactSorted(c.value), c.compact) << c.compact;
    EXPECT_EQ(JsonWriter::prettySorted(c.value), c.pretty) << c.pretty;
  }
}

TEST(JsonWriterTest, KeysSortByBytesAtEveryLevel) {
  json value = {{"b", {{"z", 1}, {"a", json::array({{{"y", 1}, {"x", 2.0}}})}}},
                {"\xC3\xA9", 0},
                {"a", 0},
                {"_", 0},
                {"B", 0}};
  EXPECT_EQ(JsonWriter::compactSorted(value),
            "{\"B\":0,\"_\":0,\"a\":0,\"b\":{\"a\":[{\"x\":2,\"y\":1}],\"z\":1},\"\xC3\xA9\":0}");
  EXPECT_EQ(JsonWriter::prettySorted({{"b", {1, "x/y"}}, {"a", {{"c", true}}}}),
            "{\n"
            "  \"a\" : {\n"
            "    \"c\" : true\n"
            "  },\n"
            "  \"b\" : [\n"
            "    1,\n"
            "    \"x/y\"\n"
            "  ]\n"
            "}");
}

} // namespace
} // namespace selvar
