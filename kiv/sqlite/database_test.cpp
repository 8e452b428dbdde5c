#include "kiv/sqlite/database.hpp"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <array>
#include <filesystem>
#include <fstream>

#include "kiv/testing/test_support.hpp"

namespace kiv {
namespace {

using testing::LogCapture;
using testing::TempDir;

class SqDatabaseTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(db->open());
    ASSERT_TRUE(db->executeUpdate("create table t (id integer primary key, name text)"));
  }
  std::string notOpen() const { return "The SqDatabase " + db->description() + " is not open."; }

  TempDir dir;
  Ref<SqDatabase> db = SqDatabase::databaseWithPath(dir.file("test.db"));
};

TEST_F(SqDatabaseTest, OpensMemoryTemporaryAndFileDatabases) {
  EXPECT_EQ(SqDatabase::databaseWithPath()->sqlitePath(), ":memory:");
  for (const String& path : {String(), String(""), String(dir.file("other.db"))}) {
    Ref<SqDatabase> other = SqDatabase::databaseWithPath(path);
    ASSERT_TRUE(other->openWithFlags(kSqOpenFileProtectionNone | kSqDefaultOpenFlags));
    EXPECT_TRUE(other->executeUpdate("create table x (a)"));
  }
  EXPECT_TRUE(std::filesystem::exists(dir.file("other.db")));
  EXPECT_TRUE(db->goodConnection());
}

TEST_F(SqDatabaseTest, CloseFinishesStatementsAndResultSetsAndRefusesWorkUntilReopened) {
  db->setShouldCacheStatements(true);
  Ref<SqResultSet> rs = db->executeQuery("select * from t");
  sqlite3_stmt* leaked[2] = {};
  for (sqlite3_stmt*& statement : leaked) sqlite3_prepare_v2(db->sqliteHandle(), "select 1", -1, &statement, nullptr);
  LogCapture log;
  ASSERT_TRUE(db->close());
  EXPECT_EQ(log.count("Closing leaked statement"), 2u);
  EXPECT_FALSE(db->hasOpenResultSets());
  EXPECT_TRUE(db->cachedStatements()->empty());
  EXPECT_EQ(rs->parentDB(), nullptr);
  EXPECT_FALSE(rs->next());
  EXPECT_FALSE(db->goodConnection());
  EXPECT_EQ(db->executeQuery("select 1"), nullptr);
  EXPECT_FALSE(db->executeUpdate("delete from t"));
  db->makeFunctionNamed("f", 0, [](sqlite3_context*, int, sqlite3_value**) {});
  EXPECT_EQ(log.count(notOpen()), 3u);
  EXPECT_EQ(db->lastInsertRowId() + db->changes(), 0);
  EXPECT_FALSE(db->executeStatements("select 1"));
  ASSERT_TRUE(db->open());
  EXPECT_TRUE(db->executeUpdate("insert into t (name) values ('again')"));
}

TEST_F(SqDatabaseTest, MissingDirectoryReadOnlyAndCorruptFilesFailCleanly) {
  LogCapture log;
  EXPECT_FALSE(SqDatabase::databaseWithPath(dir.file("no/such/dir.db"))->open());
  EXPECT_TRUE(log.has("error opening!: 14"));

  Ref<SqDatabase> readOnly = SqDatabase::databaseWithPath(dir.file("test.db"));
  ASSERT_TRUE(readOnly->openWithFlags(SQLITE_OPEN_READONLY));
  EXPECT_FALSE(readOnly->executeUpdate("insert into t (name) values ('x')"));
  EXPECT_TRUE(log.has("Unknown error calling sqlite3_step (8: attempt to write a readonly database) eu"));

  std::ofstream(dir.file("corrupt.db"), std::ios::binary) << std::string(8192, 'x');
  Ref<SqDatabase> corrupt = SqDatabase::databaseWithPath(dir.file("corrupt.db"));
  ASSERT_TRUE(corrupt->open());
  EXPECT_FALSE(corrupt->goodConnection());
  EXPECT_TRUE(log.has("DB Error: 26 \"file is not a database\""));
  EXPECT_TRUE(log.has("DB Path: " + dir.file("corrupt.db")));
  EXPECT_EQ(corrupt->lastError(), (Error{"SqDatabase", 26, "file is not a database"}));
}

TEST_F(SqDatabaseTest, HadErrorIgnoresRowAndDone) {
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v2(db->sqliteHandle(), "select 1", -1, &statement, nullptr);
  for (int expected : {SQLITE_ROW, SQLITE_DONE}) {
    ASSERT_EQ(sqlite3_step(statement), expected);
    EXPECT_EQ(db->lastErrorCode(), expected);
    EXPECT_FALSE(db->hadError());
  }
  sqlite3_finalize(statement);
  db->setLogsErrors(false);
  EXPECT_FALSE(db->executeUpdate("insert into missing values (1)"));
  EXPECT_TRUE(db->hadError());
}

// An SQL function runs while its statement executes: calls back into the connection are refused.
TEST_F(SqDatabaseTest, ReentrantCallsAreRefused) {
  ASSERT_TRUE(db->executeUpdate("insert into t (name) values ('a'), ('b')"));
  EXPECT_EQ(db->lastInsertRowId(), 2);
  EXPECT_EQ(db->changes(), 2);
  std::int64_t rowIdInside = -1;
  Ref<SqResultSet> queryInside;
  db->makeFunctionNamed("peek", 0, [&](sqlite3_context* context, int, sqlite3_value**) {
    rowIdInside = db->lastInsertRowId();
    queryInside = db->executeQuery("select 1");
    sqlite3_result_int(context, 0);
  });
  LogCapture log;
  EXPECT_TRUE(db->executeUpdate("update t set name = peek() where id = 1"));
  EXPECT_EQ(rowIdInside, 0);
  EXPECT_EQ(queryInside, nullptr);
  EXPECT_EQ(log.count("The SqDatabase " + db->description() + " is currently in use."), 2u);
}

// A second connection retries while the file is locked, up to its limit, then gives up with
// SQLITE_BUSY; a read that gives up closes its result set.
TEST_F(SqDatabaseTest, BusyConnectionGivesUpAfterItsRetryInterval) {
  Ref<SqDatabase> other = SqDatabase::databaseWithPath(dir.file("test.db"));
  ASSERT_TRUE(other->open());
  other->setMaxBusyRetryTimeInterval(0.2);
  ASSERT_TRUE(other->tableExists("t"));  // reads the schema while the file is free
  ASSERT_TRUE(db->beginTransaction());

  LogCapture log;
  EXPECT_FALSE(other->executeUpdate("insert into t (name) values ('blocked')"));
  EXPECT_TRUE(log.has("Unknown error calling sqlite3_step (5: database is locked) eu"));
  other->setMaxBusyRetryTimeInterval(0);
  Ref<SqResultSet> rs = other->executeQuery("select * from t");
  EXPECT_FALSE(rs->next());
  EXPECT_TRUE(log.has("-[SqResultSet next]:154 Database busy (" + dir.file("test.db") + ")"));
  EXPECT_EQ(rs->statement(), nullptr);

  ASSERT_TRUE(db->commit());
  EXPECT_TRUE(other->executeUpdate("insert into t (name) values ('free')"));
}

// A full file makes SQLite roll the whole transaction back by itself; the connection follows it.
TEST_F(SqDatabaseTest, ATransactionThatSQLiteRolledBackIsNoLongerOpen) {
  db->intForQuery("pragma max_page_count = " + std::to_string(db->intForQuery("pragma page_count")));
  ASSERT_TRUE(db->beginTransaction());
  LogCapture log;
  bool full = false;
  for (int i = 0; i < 100 && !full; ++i) full = !db->executeUpdate("insert into t (name) values (?)", std::string(500, 'x'));
  ASSERT_TRUE(full);
  EXPECT_EQ(db->lastErrorCode(), SQLITE_FULL);
  EXPECT_FALSE(db->inTransaction());
  EXPECT_EQ(db->intForQuery("select count(*) from t"), 0);
  db->intForQuery("pragma max_page_count = 1000");
  EXPECT_TRUE(db->beginTransaction());
  EXPECT_TRUE(db->inTransaction());
}

TEST_F(SqDatabaseTest, KeptStatementsArePreparedOnceAndLiveUntilTheConnectionCloses) {
  const std::string insert = "insert into t (name) values (?)";
  for (const char* name : {"a", "it's"}) ASSERT_TRUE(db->executeKeptUpdate(insert, std::array{Value(name)}));
  EXPECT_FALSE(db->shouldCacheStatements());
  Ref<SqResultSet> rows = db->executeKeptQuery("select name from t where name = ?", std::array{Value("it's")});
  ASSERT_TRUE(rows && rows->next());
  EXPECT_EQ(rows->stringForColumnIndex(0).str(), "it's");
  rows->close();
  sqlite3_stmt* prepared = nullptr;
  int statements = 0;
  while ((prepared = sqlite3_next_stmt(db->sqliteHandle(), prepared))) ++statements;
  EXPECT_EQ(statements, 2);
  LogCapture log;
  EXPECT_TRUE(db->close());
  EXPECT_FALSE(log.contains("Closing leaked statement"));
}

TEST_F(SqDatabaseTest, CachedStatementsAreReusedOnlyWhenFree) {
  db->setShouldCacheStatements(true);
  const char* sql = "select * from t";
  Ref<SqResultSet> first = db->executeQuery(sql);
  Ref<SqResultSet> second = db->executeQuery(sql);
  EXPECT_NE(first->statement(), second->statement());
  first->close();
  second->close();
  Ref<SqResultSet> third = db->executeQuery(sql);
  EXPECT_EQ(db->cachedStatements()->at(sql).size(), 2u);
  EXPECT_EQ(third->statement()->useCount(), 2);

  // A statement finalized by a bad bind count is not handed out again.
  for (const char* name : {"x", "y"}) EXPECT_TRUE(db->executeUpdate("insert into t (name) values (?)", name));
  EXPECT_FALSE(db->executeUpdate("insert into t (name) values (?)"));
  EXPECT_TRUE(db->executeUpdate("insert into t (name) values (?)", "z"));
  EXPECT_EQ(db->intForQuery("select count(*) from t"), 3);

  // Dropping the cache leaves the statement of an open result set alive.
  db->setShouldCacheStatements(false);
  EXPECT_EQ(db->cachedStatements(), nullptr);
  EXPECT_TRUE(third->next());
}

TEST_F(SqDatabaseTest, DatesAreSecondsOrTheFormattersText) {
  const Date date = Date::dateWithTimeIntervalSince1970(981173106);
  EXPECT_EQ(db->doubleForQuery("select ?", date), 981173106.0);
  db->setDateFormat(SqDatabase::storeableDateFormat("yyyy-MM-dd HH:mm:ss"));
  EXPECT_EQ(db->stringForQuery("select ?", date).view(), "2001-02-03 04:05:06");
  EXPECT_EQ(db->dateForQuery("select '2001-02-03 04:05:06'"), date);
  db->setDateFormat(std::nullopt);
  EXPECT_EQ(db->dateForQuery("select 86400").timeIntervalSince1970(), 86400);
}

}  // namespace
}  // namespace kiv
