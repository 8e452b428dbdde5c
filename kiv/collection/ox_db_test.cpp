#include "kiv/collection/ox_db.hpp"

#include <gtest/gtest.h>

#include "kiv/collection/collection_test_support.hpp"

namespace kiv {
namespace {

class OxDbTest : public testing::CollectionTest {};

TEST_F(OxDbTest, ReplaceWritesValuesInByKind) {
  table("t", "name PRIMARY KEY, age, time");
  const std::string sql =
      OxDb::sqlFromReplaceFor("t", {{"name", "Ann"}, {"age", 7}, {"time", Value::date(1449000000)}});
  EXPECT_EQ(sql, "REPLACE INTO t (name,age,time) VALUES ('Ann', 7, 1449000000.000000)");
  EXPECT_TRUE(db->executeUpdate(sql));
  EXPECT_EQ(onDisk("select * from t"), "Ann|7|1449000000.0");

  // Kinds without a literal write nothing after their separator; a quote is not escaped.
  EXPECT_EQ(OxDb::sqlFromReplaceFor("t", {{"name", "it's"}, {"age", Value::null()}, {"time", 1.5}}),
            "REPLACE INTO t (name,age,time) VALUES ('it's', , 1.5)");
}

TEST(OxDbUpdateTest, UpdateTextNamesEachColumnAsAParameter) {
  EXPECT_EQ(OxDb::sqlFromUpdate("t", {{"a", 1}, {"b", "x"}}, "id=3"), "UPDATE t SET a=:a, b=:b WHERE id=3");
}

}  // namespace
}  // namespace kiv
