#include "tools/kiv/row_json.hpp"

#include <gtest/gtest.h>

#include <limits>

#include "kiv/foundation/data.hpp"

namespace kiv::cli {
namespace {

std::string jsonLine(const Dictionary& row, bool pretty = false) {
  std::string out;
  appendJsonRow(row, pretty, out);
  return out;
}

TEST(AppendJsonRowTest, KeepsTheColumnsInOrderAndDecodesJsonText) {
  const Dictionary row{{"id", 7},         {"tags", "[\"a\", 1]"}, {"user", " {\"n\":null}"}, {"note", "[not json"},
                       {"gone", Value::null()}, {"score", 2.5}};
  EXPECT_EQ(jsonLine(row), R"({"id":7,"tags":["a",1],"user":{"n":null},"note":"[not json","gone":null,"score":2.5})"
                           "\n");
}

TEST(AppendJsonRowTest, FollowsTheUpdateTimeWithItsUtcDate) {
  EXPECT_EQ(jsonLine({{"kiv_update_time", 1717236000.25}, {"id", 1}}),
            R"({"kiv_update_time":1717236000.25,"kiv_update_time_utc":"2024-06-01T10:00:00.250Z","id":1})"
            "\n");
  EXPECT_EQ(jsonLine({{"kiv_update_time", "yesterday"}}),
            R"({"kiv_update_time":"yesterday","kiv_update_time_utc":null})"
            "\n");
}

TEST(AppendJsonRowTest, WritesWhatJsonLacksAsText) {
  const Dictionary row{{"blob", Data(std::string_view("\x00\xff\x10", 3))},
                       {"up", std::numeric_limits<double>::infinity()},
                       {"down", -std::numeric_limits<double>::infinity()}};
  EXPECT_EQ(jsonLine(row), R"({"blob":"X'00FF10'","up":"Infinity","down":"-Infinity"})"
                           "\n");
}

TEST(AppendJsonRowTest, ReplacesBytesThatAreNotUtf8InNamesAndTexts) {
  // A stray continuation byte, an overlong "/", a surrogate and a truncated sequence; "é" is kept.
  const Dictionary row{{"n\xff", "caf\xc3\xa9 \x80\xc0\xaf\xed\xa0\x80\xe2\x82"}};
  EXPECT_EQ(jsonLine(row), "{\"n\xEF\xBF\xBD\":\"caf\xc3\xa9 \xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"
                           "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\"}\n");
}

TEST(AppendJsonRowTest, IndentsWhenPretty) {
  EXPECT_EQ(jsonLine({{"id", 1}, {"tags", "[2]"}}, true), "{\n  \"id\" : 1,\n  \"tags\" : [\n    2\n  ]\n}\n");
}

}  // namespace
}  // namespace kiv::cli
