#include "tools/kiv/kiv_tables.hpp"

#include <gtest/gtest.h>

namespace kiv::cli {
namespace {

TEST(ParseModelTableNameTest, SplitsClassAndVersionAtTheLastVersionMark) {
  const auto name = [](std::string_view table) {
    const std::optional<ModelTableName> parsed = parseModelTableName(table);
    return parsed ? parsed->className + "|" + std::to_string(parsed->version) : "none";
  };
  EXPECT_EQ(name("kiv_note_v3"), "note|3");
  EXPECT_EQ(name("kiv_my_class_v12"), "my_class|12");
  EXPECT_EQ(name("kiv_a_v2_v3"), "a_v2|3");
  EXPECT_EQ(name("kiv_note_v-1"), "note|-1");  // a negative kiv_Version is written so
  for (const char* other : {"kiv_cache_table", "kv_version", "kiv__v1", "kiv_note_v", "kiv_note_v3a", "kiv_note_v+3",
                            "KIV_note_v3", "kiv_note_v 3", "kiv_note_v99999999999999999999"}) {
    EXPECT_EQ(name(other), "none") << other;
  }
}

}  // namespace
}  // namespace kiv::cli
