#include "kiv/sqlite/result_set.hpp"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include "kiv/sqlite/database.hpp"
#include "kiv/testing/test_support.hpp"

namespace kiv {
namespace {

using testing::LogCapture;

// An object that records what key-value coding sets on it.
class Recorder : public Object {
 public:
  void setValue(const Value& value, std::string_view key) override { values.setObject(value, key); }
  MutableDictionary values = MutableDictionary::dictionary();
};

class SqResultSetTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(db->open());
    ASSERT_TRUE(db->executeStatements(
        "create table t (Id integer, Name text, Score real, Photo blob, Missing);"
        "insert into t values (1, 'ann', 2.5, x'0102', null);"
        "insert into t values (-9000000000, 'bob', 0, x'', null);"));
  }
  Ref<SqResultSet> firstRow(std::string_view sql = "select * from t order by Id desc") {
    Ref<SqResultSet> rs = db->executeQuery(sql);
    EXPECT_TRUE(rs && rs->next());
    return rs;
  }

  Ref<SqDatabase> db = SqDatabase::databaseWithPath();
};

TEST_F(SqResultSetTest, StepsUntilTheRowsRunOutThenCloses) {
  Ref<SqResultSet> rs = db->executeQuery("select Id from t");
  EXPECT_TRUE(db->hasOpenResultSets());
  int rows = 0;
  while (rs->next()) rows += rs->hasAnotherRow();
  EXPECT_EQ(rows, 2);
  EXPECT_FALSE(rs->hasAnotherRow());
  EXPECT_EQ(rs->statement(), nullptr);
  EXPECT_EQ(rs->parentDB(), nullptr);
  EXPECT_FALSE(db->hasOpenResultSets());
}

TEST_F(SqResultSetTest, TypedAccessorsByIndexAndByNameInAnyCase) {
  Ref<SqResultSet> rs = firstRow();
  EXPECT_EQ(rs->intForColumn("ID"), 1);
  EXPECT_TRUE(rs->boolForColumn("id"));
  EXPECT_EQ(rs->doubleForColumn("score"), 2.5);
  EXPECT_EQ(rs->stringForColumn("NAME").view(), "ann");
  EXPECT_STREQ(rs->UTF8StringForColumnName("name"), "ann");
  EXPECT_EQ(rs->dataForColumn("photo").view(), std::string_view("\x01\x02", 2));
  EXPECT_EQ(rs->dataNoCopyForColumn("photo"), std::string_view("\x01\x02", 2));
  EXPECT_EQ(rs->dateForColumn("score").timeIntervalSince1970(), 2.5);
  EXPECT_TRUE(rs->columnIsNull("missing"));
  EXPECT_TRUE(rs->stringForColumn("missing").isAbsent());
  EXPECT_TRUE(rs->dateForColumn("missing").isAbsent());

  ASSERT_TRUE(rs->next());
  EXPECT_EQ(rs->longForColumnIndex(0), -9000000000);
  EXPECT_EQ(rs->unsignedLongLongIntForColumnIndex(0), static_cast<unsigned long long>(-9000000000LL));
  EXPECT_TRUE(rs->dataForColumn("photo").isAbsent());  // a zero-length blob reads as nothing
  EXPECT_FALSE(rs->dataNoCopyForColumn("photo").has_value());
  EXPECT_TRUE((*rs)["photo"].isNull());

  LogCapture log;
  EXPECT_TRUE(rs->stringForColumn("Nope").isAbsent());
  EXPECT_EQ(rs->intForColumn("nope"), 0);
  EXPECT_EQ(log.count("Warning: I could not find the column named 'nope'."), 2u);
}

TEST_F(SqResultSetTest, RowDictionaries) {
  Ref<SqResultSet> rs = db->executeQuery("select * from t order by Id desc");
  LogCapture log;
  EXPECT_TRUE(rs->resultDictionary().isAbsent());
  EXPECT_TRUE(rs->resultDict().isAbsent());
  EXPECT_EQ(log.count("Warning: There seem to be no columns in this set."), 2u);

  ASSERT_TRUE(rs->next());
  const Dictionary row = rs->resultDictionary();
  EXPECT_EQ(row, (Dictionary{{"Id", Value(1LL)}, {"Name", Value("ann")}, {"Score", Value(2.5)},
                             {"Photo", Value::data("\x01\x02", 2)}, {"Missing", Value::null()}}));
  EXPECT_EQ(row["Id"].numberKind(), 'q');  // INTEGER as 64-bit, REAL as double
  EXPECT_EQ(row["Score"].numberKind(), 'd');
  EXPECT_TRUE(rs->resultDict().containsKey("name"));

  // Duplicate names: the later column wins, in either form.
  rs = firstRow("select 1 as x, 2 as X, 3 as x");
  EXPECT_EQ(rs->resultDictionary(), (Dictionary{{"x", Value(3LL)}, {"X", Value(2LL)}}));
  EXPECT_EQ(rs->resultDict(), (Dictionary{{"x", Value(3LL)}}));

  Ref<Recorder> recorder = makeRef<Recorder>();
  firstRow()->kvcMagic(*recorder);
  EXPECT_EQ(recorder->values, (Dictionary{{"Id", Value("1")}, {"Name", Value("ann")}, {"Score", Value("2.5")},
                                          {"Photo", Value("\x01\x02")}}));
}

TEST_F(SqResultSetTest, StepErrorsCloseTheSet) {
  db->makeFunctionNamed("fail", 0, [](sqlite3_context* context, int, sqlite3_value**) {
    sqlite3_result_error(context, "nope", -1);
  });
  Ref<SqResultSet> rs = db->executeQuery("select fail()");
  LogCapture log;
  EXPECT_FALSE(rs->next());
  EXPECT_TRUE(log.has("Error calling sqlite3_step (1: nope) rs"));
  EXPECT_FALSE(db->hasOpenResultSets());
}

}  // namespace
}  // namespace kiv
