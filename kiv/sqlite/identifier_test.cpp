#include "kiv/sqlite/identifier.hpp"

#include <gtest/gtest.h>

namespace kiv {
namespace {

TEST(SqlIdentifierTest, PlainNamesStandAndOthersAreQuoted) {
  for (const char* plain : {"itemid", "kiv_feeditem_v1", "_x", "kiv_update_time"}) EXPECT_EQ(sqlIdentifier(plain), plain);
  EXPECT_EQ(sqlIdentifier("values"), "\"values\"");
  EXPECT_EQ(sqlIdentifier("ORDER"), "\"ORDER\"");
  EXPECT_EQ(sqlIdentifier("group"), "\"group\"");
  EXPECT_EQ(sqlIdentifier("1st"), "\"1st\"");
  EXPECT_EQ(sqlIdentifier("my table"), "\"my table\"");
  EXPECT_EQ(sqlIdentifier("say \"hi\""), "\"say \"\"hi\"\"\"");
  EXPECT_EQ(sqlIdentifier(""), "\"\"");
}

}  // namespace
}  // namespace kiv
