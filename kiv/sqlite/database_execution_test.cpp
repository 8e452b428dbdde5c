#include <gtest/gtest.h>

#include <stdexcept>
#include <sqlite3.h>

#include "kiv/sqlite/database.hpp"
#include "kiv/testing/test_support.hpp"

namespace kiv {
namespace {

using testing::LogCapture;
using Lines = std::vector<std::string>;

class SqExecutionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(db->open());
    ASSERT_TRUE(db->executeUpdate("create table t (a, b, c)"));
  }
  // SQLite's typeof() and quote() of the value once bound.
  std::string bound(const Value& value) {
    return db->stringForQuery("select typeof(?1) || ' ' || quote(?1)", value).str();
  }

  Ref<SqDatabase> db = SqDatabase::databaseWithPath();
};

TEST_F(SqExecutionTest, BindsEachKindByItsStoredType) {
  EXPECT_EQ(bound(Value()), "null NULL");
  EXPECT_EQ(bound(Value::null()), "null NULL");
  EXPECT_EQ(bound(Value(static_cast<signed char>(-5))), "integer -5");
  EXPECT_EQ(bound(Value(static_cast<unsigned char>(250))), "integer 250");
  EXPECT_EQ(bound(Value(static_cast<short>(-300))), "integer -300");
  EXPECT_EQ(bound(Value(static_cast<unsigned short>(65000))), "integer 65000");
  EXPECT_EQ(bound(Value(4000000000u)), "integer 4000000000");
  EXPECT_EQ(bound(Value(-9000000000000000000LL)), "integer -9000000000000000000");
  EXPECT_EQ(bound(Value(18446744073709551615ULL)), "integer -1");
  EXPECT_EQ(bound(Value(1.5f)), "real 1.5");
  EXPECT_EQ(bound(Value(true)), "integer 1");
  EXPECT_EQ(bound(Value::date(12.5)), "real 12.5");
  EXPECT_EQ(bound(Value::data("\x01\xff", 2)), "blob X'01FF'");
  EXPECT_EQ(bound(Value::data("", 0)), "blob X''");
  EXPECT_EQ(bound(Value(std::string_view("ab\0cd", 5))), "text 'ab'");
  const Array array{Value(1), Value("x")};
  EXPECT_EQ(bound(array), "text '" + array.description() + "'");
}

// SQLite reads bound text and blobs in place: a query's arguments must stay alive until the
// result set steps, after the caller's copies are gone.
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

TEST_F(SqExecutionTest, ArgumentsMustCoverEveryParameter) {
  LogCapture log;
  EXPECT_EQ(db->executeQueryWithArgumentsInArray("select ?, ?, ?", Array{Value(1), Value(2)}), nullptr);
  EXPECT_TRUE(log.has("Error: the bind count is not correct for the # of variables (executeQuery)"));
  EXPECT_EQ(db->intForQuery("select ?3", 1, 2, 3, 4), 3);  // surplus ignored

  const Dictionary row{{"a", Value(1)}, {"b", Value("two")}, {"extra", Value(3)}};
  EXPECT_TRUE(db->executeUpdateWithParameterDictionary("insert into t values (:a, :b, :a)", row));
  EXPECT_TRUE(log.has("Could not find index for extra"));
  EXPECT_EQ(db->stringForQuery("select a || b || c from t").view(), "1two1");
  EXPECT_FALSE(db->executeUpdateWithParameterDictionary("insert into t (a, b) values (:b, :missing)", row));
  EXPECT_TRUE(log.has("Error: the bind count (1) is not correct for the # of variables in the query (2) "
                      "(insert into t (a, b) values (:b, :missing)) (executeUpdate)"));
}

TEST_F(SqExecutionTest, FailedUpdatesLogWhatHappened) {
  LogCapture log;
  Error error;
  EXPECT_FALSE(db->executeUpdateWithErrorAndBindings("insert into nowhere values (?)", &error, 1));
  EXPECT_EQ(error, (Error{"SqDatabase", 1, "no such table: nowhere"}));
  EXPECT_EQ(log.lines(), (Lines{"DB Error: 1 \"no such table: nowhere\"", "DB Query: insert into nowhere values (?)",
                                "DB Path: (null)"}));

  log.clear();
  EXPECT_FALSE(db->executeUpdate("select 1"));
  EXPECT_EQ(log.lines(), (Lines{"Unknown error calling sqlite3_step (100: another row available) eu",
                                "DB Query: select 1"}));

  ASSERT_TRUE(db->executeUpdate("create unique index u on t (a)"));
  ASSERT_TRUE(db->executeUpdate("insert into t (a) values (1)"));
  log.clear();
  error = Error();
  EXPECT_FALSE(db->update("insert into t (a) values (?)", &error, 1));
  EXPECT_EQ(error, Error());  // step failures do not set the error
  EXPECT_EQ(log.lines(), (Lines{"Unknown error calling sqlite3_step (19: UNIQUE constraint failed: t.a) eu",
                                "DB Query: insert into t (a) values (?)",
                                "Unknown error finalizing or resetting statement (19: UNIQUE constraint failed: t.a)",
                                "DB Query: insert into t (a) values (?)"}));

  log.clear();
  db->setLogsErrors(false);
  EXPECT_FALSE(db->executeUpdate("insert into t (a) values (1)"));
  EXPECT_EQ(db->executeQuery("selec 1"), nullptr);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(SqExecutionTest, TracingLogsStatementsAndArguments) {
  db->setTraceExecution(true);
  LogCapture log;
  EXPECT_TRUE(db->executeUpdate("insert into t (a, b) values (?, ?)", Data("xyz"), 5));
  db->executeQueryWithParameterDictionary("select :a", Dictionary{{"a", Value("v")}});
  const std::string name = db->description();
  EXPECT_EQ(log.lines(), (Lines{name + " executeUpdate: insert into t (a, b) values (?, ?)", "data: 3 bytes", "obj: 5",
                                name + " executeQuery: select :a", ":a = v"}));
}

TEST_F(SqExecutionTest, ExecuteStatementsRunsBatchesAndReportsRows) {
  EXPECT_TRUE(db->executeStatements("insert into t values (1, 'x', null); insert into t values (2, 'y', null);"));
  std::vector<Dictionary> rows;
  EXPECT_FALSE(db->executeStatements("select a, b, c from t order by a", [&](const Dictionary& row) {
    rows.push_back(row);
    return 1;  // stops after the first row
  }));
  EXPECT_EQ(rows, (std::vector<Dictionary>{{{"a", Value("1")}, {"b", Value("x")}, {"c", Value::null()}}}));

  LogCapture log;
  EXPECT_FALSE(db->executeStatements("insert into t values (3, 'z', null); bogus;"));
  EXPECT_EQ(log.lines(), (Lines{"Error inserting batch: near \"bogus\": syntax error"}));
  EXPECT_EQ(db->intForQuery("select count(*) from t"), 3);
  // Text without a statement is a clear failure.
  EXPECT_FALSE(db->executeUpdate(""));
  EXPECT_FALSE(db->executeQuery("-- nothing")->next());
  EXPECT_TRUE(log.contains("(21: "));
}

// An exception never crosses SQLite: it fails the statement it came from, logged.
TEST_F(SqExecutionTest, CallbacksThatThrowFailTheirStatements) {
  LogCapture log;
  EXPECT_FALSE(db->executeStatements("select 1", [](const Dictionary&) -> int { throw std::runtime_error("bad row"); }));
  EXPECT_TRUE(log.has("Kiv: an executeStatements block failed: bad row"));
  db->makeFunctionNamed("explode", 0, [](sqlite3_context*, int, sqlite3_value**) { throw std::runtime_error("boom"); });
  EXPECT_FALSE(db->executeUpdate("insert into t (a) values (explode())"));
  EXPECT_TRUE(log.has("Kiv: an SQL function failed: boom"));
  EXPECT_EQ(db->lastErrorMessage(), "an SQL function failed: boom");
}

}  // namespace
}  // namespace kiv
