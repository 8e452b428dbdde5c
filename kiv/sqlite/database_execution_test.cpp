#include <gtest/gtest.h>
#include <sqlite3.h>

#include "kiv/sqlite/database.hpp"
#include "kiv/testing/test_support.hpp"

namespace kiv {
namespace {

using testing::LogCapture;
using testing::TempDir;

class SqExecutionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    db = SqDatabase::databaseWithPath(dir.file("test.db"));
    ASSERT_TRUE(db->open());
    ASSERT_TRUE(db->executeUpdate("create table t (a, b, c)"));
  }

  // SQLite's typeof() and quote() of the value after a round trip through a column.
  std::string stored(const Value& value) {
    EXPECT_TRUE(db->executeUpdate("delete from t"));
    EXPECT_TRUE(db->executeUpdate("insert into t (a) values (?)", value));
    return db->stringForQuery("select typeof(a) || ' ' || quote(a) from t").str();
  }

  TempDir dir;
  Ref<SqDatabase> db;
};

TEST_F(SqExecutionTest, BindsEachKindByItsStoredType) {
  EXPECT_EQ(stored(Value()), "null NULL");
  EXPECT_EQ(stored(Value::null()), "null NULL");
  EXPECT_EQ(stored(Value(static_cast<signed char>(-5))), "integer -5");
  EXPECT_EQ(stored(Value(static_cast<unsigned char>(250))), "integer 250");
  EXPECT_EQ(stored(Value(static_cast<short>(-300))), "integer -300");
  EXPECT_EQ(stored(Value(static_cast<unsigned short>(65000))), "integer 65000");
  EXPECT_EQ(stored(Value(-7)), "integer -7");
  EXPECT_EQ(stored(Value(4000000000u)), "integer 4000000000");
  EXPECT_EQ(stored(Value(-9000000000000000000LL)), "integer -9000000000000000000");
  EXPECT_EQ(stored(Value(18446744073709551615ULL)), "integer -1");
  EXPECT_EQ(stored(Value(1.5f)), "real 1.5");
  EXPECT_EQ(stored(Value(2.25)), "real 2.25");
  EXPECT_EQ(stored(Value(true)), "integer 1");
  EXPECT_EQ(stored(Value::date(12.5)), "real 12.5");
  EXPECT_EQ(stored(Value::data("\x01\xff", 2)), "blob X'01FF'");
  EXPECT_EQ(stored(Value::data("", 0)), "blob X''");
  EXPECT_EQ(stored(Value("it's")), "text 'it''s'");
  EXPECT_EQ(stored(Value(std::string_view("ab\0cd", 5))), "text 'ab'");
  const Array array{Value(1), Value("x")};
  EXPECT_EQ(stored(array), "text '" + array.description() + "'");
}

// Long strings and blobs are read in place by SQLite: a query's arguments must stay alive until
// the result set steps, even when the caller's copies are gone.
TEST_F(SqExecutionTest, BoundValuesOutliveTheCallUntilTheStep) {
  Ref<SqResultSet> rs;
  {
    const std::string longText(100, 'z');
    rs = db->executeQuery("select ?, ?", String(longText), Data(longText));
  }
  ASSERT_TRUE(rs->next());
  EXPECT_EQ(rs->stringForColumnIndex(0).str(), std::string(100, 'z'));
  EXPECT_EQ(rs->dataForColumnIndex(1).size(), 100u);
}

TEST_F(SqExecutionTest, PositionalArgumentsMustCoverEveryParameter) {
  LogCapture log;
  EXPECT_EQ(db->executeQueryWithArgumentsInArray("select ?, ?, ?", Array{Value(1), Value(2)}), nullptr);
  EXPECT_TRUE(log.has("Error: the bind count is not correct for the # of variables (executeQuery)"));
  Ref<SqResultSet> rs =
      db->executeQueryWithArgumentsInArray("select ?, ?, ?", Array{Value(1), Value(2), Value(3), Value(4)});
  ASSERT_TRUE(rs && rs->next());
  EXPECT_EQ(rs->intForColumnIndex(2), 3);
  EXPECT_TRUE(db->executeUpdate("insert into t values (?1, ?2, ?1)", 7, "x"));
  EXPECT_EQ(db->stringForQuery("select a || b || c from t").view(), "7x7");
}

TEST_F(SqExecutionTest, DictionaryArgumentsBindByName) {
  LogCapture log;
  const Dictionary row{{"a", Value(1)}, {"b", Value("two")}, {"extra", Value(3)}};
  EXPECT_TRUE(db->executeUpdateWithParameterDictionary("insert into t (a, b, c) values (:a, :b, :a)", row));
  EXPECT_TRUE(log.has("Could not find index for extra"));
  EXPECT_EQ(db->stringForQuery("select a || b || c from t").view(), "1two1");

  EXPECT_FALSE(db->executeUpdateWithParameterDictionary("insert into t (a, b) values (:a, :missing)", row));
  EXPECT_TRUE(log.has("Error: the bind count (1) is not correct for the # of variables in the query (2) "
                      "(insert into t (a, b) values (:a, :missing)) (executeUpdate)"));
  Ref<SqResultSet> rs = db->executeQueryWithParameterDictionary("select * from t where b = :b", row);
  ASSERT_TRUE(rs && rs->next());
  EXPECT_EQ(rs->intForColumn("a"), 1);
}

TEST_F(SqExecutionTest, FailedUpdatesLogWhatHappened) {
  LogCapture log;
  Error error;
  EXPECT_FALSE(db->executeUpdateWithErrorAndBindings("insert into nowhere values (?)", &error, 1));
  EXPECT_EQ(error, (Error{"SqDatabase", 1, "no such table: nowhere"}));
  EXPECT_EQ(log.lines(), (std::vector<std::string>{"DB Error: 1 \"no such table: nowhere\"",
                                                   "DB Query: insert into nowhere values (?)",
                                                   "DB Path: " + dir.file("test.db")}));

  log.clear();
  EXPECT_FALSE(db->executeUpdate("select 1"));
  EXPECT_TRUE(log.has("Unknown error calling sqlite3_step (100: another row available) eu"));
  EXPECT_TRUE(log.has("DB Query: select 1"));

  ASSERT_TRUE(db->executeUpdate("create table u (k unique)"));
  ASSERT_TRUE(db->update("insert into u values (?)", nullptr, 1));
  log.clear();
  error = Error();
  EXPECT_FALSE(db->update("insert into u values (?)", &error, 1));
  EXPECT_EQ(error, Error());  // step failures do not set the error
  EXPECT_EQ(log.lines(),
            (std::vector<std::string>{"Unknown error calling sqlite3_step (19: UNIQUE constraint failed: u.k) eu",
                                      "DB Query: insert into u values (?)",
                                      "Unknown error finalizing or resetting statement (19: UNIQUE constraint "
                                      "failed: u.k)",
                                      "DB Query: insert into u values (?)"}));

  log.clear();
  db->setLogsErrors(false);
  EXPECT_FALSE(db->executeUpdate("insert into u values (?)", 1));
  EXPECT_EQ(db->executeQuery("selec 1"), nullptr);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(SqExecutionTest, TracingLogsStatementsAndArguments) {
  db->setTraceExecution(true);
  LogCapture log;
  db->executeUpdate("insert into t (a, b) values (?, ?)", Data("xyz"), 5);
  db->executeQueryWithParameterDictionary("select :a", Dictionary{{"a", Value("v")}});
  const std::string name = db->description();
  EXPECT_EQ(log.lines(), (std::vector<std::string>{name + " executeUpdate: insert into t (a, b) values (?, ?)",
                                                   "data: 3 bytes", "obj: 5", name + " executeQuery: select :a",
                                                   ":a = v"}));
}

TEST_F(SqExecutionTest, ExecuteStatementsRunsBatchesAndReportsRows) {
  EXPECT_TRUE(db->executeStatements("insert into t values (1, 'x', null); insert into t values (2, 'y', null);"));
  std::vector<Dictionary> rows;
  EXPECT_TRUE(db->executeStatements("select a, b, c from t order by a", [&](const Dictionary& row) {
    rows.push_back(row);
    return 0;
  }));
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[1], (Dictionary{{"a", Value("2")}, {"b", Value("y")}, {"c", Value::null()}}));

  int calls = 0;
  LogCapture log;
  EXPECT_FALSE(db->executeStatements("select * from t", [&](const Dictionary&) { return ++calls; }));
  EXPECT_EQ(calls, 1);
  EXPECT_TRUE(log.has("Error inserting batch: query aborted"));
  EXPECT_FALSE(db->executeStatements("insert into t values (3, 'z', null); bogus;"));
  EXPECT_TRUE(log.has("Error inserting batch: near \"bogus\": syntax error"));
  EXPECT_EQ(db->intForQuery("select count(*) from t"), 3);
}

TEST_F(SqExecutionTest, FunctionsFromCallables) {
  int calls = 0;
  db->makeFunctionNamed("twice", 1, [&](sqlite3_context* context, int argc, sqlite3_value** argv) {
    ++calls;
    ASSERT_EQ(argc, 1);
    sqlite3_result_int64(context, 2 * sqlite3_value_int64(argv[0]));
  });
  EXPECT_EQ(db->longForQuery("select twice(?)", 21), 42);
  EXPECT_EQ(calls, 1);
  db->setLogsErrors(false);
  EXPECT_EQ(db->executeQuery("select twice(1, 2)"), nullptr);
}

}  // namespace
}  // namespace kiv
