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

  // Kinds without a literal write nothing; a quote is not escaped. Both texts fail when run.
  const std::string dangling = OxDb::sqlFromReplaceFor("t", {{"name", "Bo"}, {"age", Value::null()}, {"time", 1.5}});
  EXPECT_EQ(dangling, "REPLACE INTO t (name,age,time) VALUES ('Bo', , 1.5)");
  EXPECT_FALSE(db->executeUpdate(dangling));
  EXPECT_FALSE(db->executeUpdate(OxDb::sqlFromReplaceFor("t", {{"name", "it's"}})));
  EXPECT_EQ(onDisk("select count(*) from t"), "1");
}

TEST_F(OxDbTest, UpdateTextBindsTheRow) {
  table("t", "id, a, b");
  db->executeUpdate("insert into t values (3, 0, 0)");
  const Dictionary row{{"a", 1}, {"b", "x"}};
  const std::string sql = OxDb::sqlFromUpdate("t", row, "id=3");
  EXPECT_EQ(sql, "UPDATE t SET a=:a, b=:b WHERE id=3");
  EXPECT_TRUE(db->executeUpdateWithParameterDictionary(sql, row));
  EXPECT_EQ(onDisk("select * from t"), "3|1|x");
}

}  // namespace
}  // namespace kiv
