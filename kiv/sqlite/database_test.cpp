#include "kiv/sqlite/database.hpp"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <fstream>

#include "kiv/sqlite/describe.hpp"
#include "kiv/testing/test_support.hpp"

namespace kiv {
namespace {

using testing::LogCapture;
using testing::TempDir;

class SqDatabaseTest : public ::testing::Test {
 protected:
  void SetUp() override {
    db = SqDatabase::databaseWithPath(dir.file("test.db"));
    ASSERT_TRUE(db->open());
    ASSERT_TRUE(db->executeUpdate("create table t (id integer primary key, name text)"));
  }

  TempDir dir;
  Ref<SqDatabase> db;
};

TEST_F(SqDatabaseTest, PathsChooseMemoryTemporaryOrFile) {
  EXPECT_EQ(SqDatabase::databaseWithPath()->sqlitePath(), ":memory:");
  EXPECT_EQ(SqDatabase::databaseWithPath("")->sqlitePath(), "");
  for (const String& path : {String(), String("")}) {
    Ref<SqDatabase> other = SqDatabase::databaseWithPath(path);
    ASSERT_TRUE(other->open());
    EXPECT_TRUE(other->executeUpdate("create table x (a)"));
    EXPECT_TRUE(other->tableExists("x"));
  }
  EXPECT_TRUE(std::filesystem::exists(dir.file("test.db")));
  EXPECT_TRUE(db->goodConnection());
  EXPECT_TRUE(db->open());  // already open

  Ref<SqDatabase> unprotected = SqDatabase::databaseWithPath(dir.file("unprotected.db"));
  EXPECT_TRUE(unprotected->openWithFlags(kSqOpenFileProtectionNone | kSqDefaultOpenFlags));
  EXPECT_TRUE(std::filesystem::exists(dir.file("unprotected.db")));
}

TEST_F(SqDatabaseTest, ClosedConnectionRefusesWorkAndReopens) {
  ASSERT_TRUE(db->close());
  EXPECT_TRUE(db->close());
  EXPECT_FALSE(db->goodConnection());
  LogCapture log;
  EXPECT_EQ(db->executeQuery("select 1"), nullptr);
  EXPECT_FALSE(db->executeUpdate("delete from t"));
  EXPECT_EQ(log.count("The SqDatabase " + db->description() + " is not open."), 2u);
  ASSERT_TRUE(db->open());
  EXPECT_TRUE(db->executeUpdate("insert into t (name) values ('again')"));
}

TEST_F(SqDatabaseTest, OpenFailuresAreReportedNotFatal) {
  LogCapture log;
  Ref<SqDatabase> missingDir = SqDatabase::databaseWithPath(dir.file("no/such/dir.db"));
  EXPECT_FALSE(missingDir->open());
  EXPECT_TRUE(log.has("error opening!: 14"));
  EXPECT_EQ(missingDir->sqliteHandle(), nullptr);

  Ref<SqDatabase> readOnly = SqDatabase::databaseWithPath(dir.file("test.db"));
  ASSERT_TRUE(readOnly->openWithFlags(SQLITE_OPEN_READONLY));
  EXPECT_FALSE(readOnly->executeUpdate("insert into t (name) values ('x')"));
  EXPECT_EQ(readOnly->lastErrorCode(), SQLITE_READONLY);
  EXPECT_TRUE(log.contains("Unknown error calling sqlite3_step (8: attempt to write a readonly database) eu"));
}

TEST_F(SqDatabaseTest, CorruptFileFailsQueriesWithTheSqliteError) {
  std::ofstream(dir.file("corrupt.db"), std::ios::binary) << std::string(8192, 'x');
  Ref<SqDatabase> corrupt = SqDatabase::databaseWithPath(dir.file("corrupt.db"));
  ASSERT_TRUE(corrupt->open());
  LogCapture log;
  EXPECT_FALSE(corrupt->goodConnection());
  EXPECT_EQ(corrupt->intForQuery("select count(*) from t"), 0);
  EXPECT_TRUE(log.has("DB Error: 26 \"file is not a database\""));
  EXPECT_TRUE(log.has("DB Path: " + dir.file("corrupt.db")));
  EXPECT_TRUE(corrupt->hadError());
  EXPECT_EQ(corrupt->lastError(), (Error{"SqDatabase", 26, "file is not a database"}));
}

TEST_F(SqDatabaseTest, CloseFinalizesLeakedStatements) {
  sqlite3_stmt* leaked[2] = {};
  for (sqlite3_stmt*& statement : leaked) {
    ASSERT_EQ(sqlite3_prepare_v2(db->sqliteHandle(), "select * from t", -1, &statement, nullptr), SQLITE_OK);
  }
  LogCapture log;
  EXPECT_TRUE(db->close());
  EXPECT_EQ(log.count("Closing leaked statement"), 2u);
  EXPECT_EQ(db->sqliteHandle(), nullptr);
}

TEST_F(SqDatabaseTest, ErrorStateFollowsTheLastResultCode) {
  sqlite3_stmt* statement = nullptr;
  ASSERT_EQ(sqlite3_prepare_v2(db->sqliteHandle(), "select 1", -1, &statement, nullptr), SQLITE_OK);
  ASSERT_EQ(sqlite3_step(statement), SQLITE_ROW);
  EXPECT_EQ(db->lastErrorCode(), SQLITE_ROW);
  EXPECT_FALSE(db->hadError());
  ASSERT_EQ(sqlite3_step(statement), SQLITE_DONE);
  EXPECT_EQ(db->lastErrorCode(), SQLITE_DONE);
  EXPECT_FALSE(db->hadError());
  sqlite3_finalize(statement);
  db->setLogsErrors(false);
  EXPECT_FALSE(db->executeUpdate("insert into missing values (1)"));
  EXPECT_TRUE(db->hadError());
  EXPECT_EQ(db->lastError(), (Error{"SqDatabase", 1, "no such table: missing"}));
}

TEST_F(SqDatabaseTest, RowIdAndChangesAreRefusedWhileAStatementRuns) {
  ASSERT_TRUE(db->executeUpdate("insert into t (name) values ('a'), ('b')"));
  EXPECT_EQ(db->lastInsertRowId(), 2);
  EXPECT_EQ(db->changes(), 2);
  // An SQL function runs while the connection is executing its statement.
  std::int64_t rowIdInside = -1;
  db->makeFunctionNamed("peek", 0, [&](sqlite3_context* context, int, sqlite3_value**) {
    rowIdInside = db->lastInsertRowId();
    sqlite3_result_int(context, 0);
  });
  LogCapture log;
  EXPECT_TRUE(db->executeUpdate("update t set name = peek()"));
  EXPECT_EQ(rowIdInside, 0);
  EXPECT_TRUE(log.has("The SqDatabase " + db->description() + " is currently in use."));
}

TEST_F(SqDatabaseTest, LibraryConstantsAndRetiredSettings) {
  EXPECT_EQ(SqDatabase::SqDBUserVersion(), "2.3");
  EXPECT_EQ(SqDatabase::SqDBVersion(), 0x230u);
  EXPECT_EQ(SqDatabase::sqliteLibVersion(), sqlite3_libversion());
  EXPECT_TRUE(SqDatabase::isSQLiteThreadSafe());
  EXPECT_FALSE(db->setKey("secret"));
  EXPECT_FALSE(db->rekey("secret"));

  LogCapture log;
  EXPECT_EQ(db->busyRetryTimeout(), -1);
  db->setBusyRetryTimeout(10);
  EXPECT_EQ(log.lines(), (std::vector<std::string>{
                             "-[SqDatabase busyRetryTimeout]:267",
                             "SqDB: busyRetryTimeout no longer works, please use maxBusyRetryTimeInterval",
                             "-[SqDatabase setBusyRetryTimeout:]:273",
                             "SqDB: setBusyRetryTimeout does nothing, please use setMaxBusyRetryTimeInterval:"}));
}

// A second connection waits for the lock up to its limit, then gives up with SQLITE_BUSY; reads
// that give up close their result set.
TEST_F(SqDatabaseTest, BusyConnectionGivesUpAfterItsRetryInterval) {
  Ref<SqDatabase> other = SqDatabase::databaseWithPath(dir.file("test.db"));
  ASSERT_TRUE(other->open());
  other->setMaxBusyRetryTimeInterval(0.2);
  ASSERT_TRUE(other->tableExists("t"));  // reads the schema while it is free
  ASSERT_TRUE(db->beginTransaction());

  LogCapture log;
  EXPECT_FALSE(other->executeUpdate("insert into t (name) values ('blocked')"));
  EXPECT_EQ(other->lastErrorCode(), SQLITE_BUSY);
  EXPECT_TRUE(log.has("Unknown error calling sqlite3_step (5: database is locked) eu"));

  other->setMaxBusyRetryTimeInterval(0);
  Ref<SqResultSet> rs = other->executeQuery("select * from t");
  ASSERT_NE(rs, nullptr);
  EXPECT_FALSE(rs->next());
  EXPECT_TRUE(log.has("-[SqResultSet next]:154 Database busy (" + dir.file("test.db") + ")"));
  EXPECT_TRUE(log.has("Database busy"));
  EXPECT_EQ(rs->statement(), nullptr);

  ASSERT_TRUE(db->commit());
  EXPECT_TRUE(other->executeUpdate("insert into t (name) values ('free')"));
}

TEST_F(SqDatabaseTest, CachedStatementsAreReusedOnlyWhenFree) {
  db->setShouldCacheStatements(true);
  const char* sql = "select * from t";
  Ref<SqResultSet> first = db->executeQuery(sql);
  Ref<SqResultSet> second = db->executeQuery(sql);
  ASSERT_TRUE(first && second);
  EXPECT_NE(first->statement(), second->statement());
  EXPECT_EQ(db->cachedStatements()->at(sql).size(), 2u);
  first->close();
  second->close();
  Ref<SqResultSet> third = db->executeQuery(sql);
  const Ref<SqStatement> reused = third->statement();
  EXPECT_EQ(db->cachedStatements()->at(sql).size(), 2u);
  EXPECT_EQ(reused->description(), describeObject("SqStatement", reused.get()) + " 2 hit(s) for query select * from t");

  // Updates reuse one statement; a statement finalized after a bad bind is never handed out again.
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(db->executeUpdate("insert into t (name) values (?)", "x"));
  EXPECT_EQ(db->cachedStatements()->at("insert into t (name) values (?)").size(), 1u);
  LogCapture log;
  EXPECT_FALSE(db->executeUpdate("insert into t (name) values (?)"));
  EXPECT_TRUE(log.has("Error: the bind count (0) is not correct for the # of variables in the query (1) "
                      "(insert into t (name) values (?)) (executeUpdate)"));
  EXPECT_TRUE(db->executeUpdate("insert into t (name) values (?)", "y"));
  EXPECT_EQ(db->intForQuery("select count(*) from t"), 4);

  // Dropping the cache leaves the statement of an open result set alive.
  db->setShouldCacheStatements(false);
  EXPECT_EQ(db->cachedStatements(), nullptr);
  EXPECT_TRUE(third->next());
  EXPECT_EQ(reused->statement(), third->statement()->statement());
}

TEST_F(SqDatabaseTest, ClosingTheConnectionClosesItsResultSets) {
  db->setShouldCacheStatements(true);
  ASSERT_TRUE(db->executeUpdate("insert into t (name) values ('a')"));
  Ref<SqResultSet> rs = db->executeQuery("select * from t");
  ASSERT_TRUE(db->hasOpenResultSets());
  db->close();
  EXPECT_FALSE(db->hasOpenResultSets());
  EXPECT_TRUE(db->cachedStatements()->empty());
  EXPECT_EQ(rs->parentDB(), nullptr);
  LogCapture log;
  EXPECT_FALSE(rs->next());
  EXPECT_TRUE(log.contains("Error calling sqlite3_step (21: "));
}

TEST_F(SqDatabaseTest, DatesBindAndReadThroughTheFormatter) {
  ASSERT_TRUE(db->executeUpdate("create table d (v)"));
  const Date date = Date::dateWithTimeIntervalSince1970(981173106);
  ASSERT_TRUE(db->executeUpdate("insert into d values (?)", date));
  EXPECT_EQ(db->doubleForQuery("select v from d"), 981173106.0);

  db->setDateFormat(SqDatabase::storeableDateFormat("yyyy-MM-dd HH:mm:ss"));
  ASSERT_TRUE(db->hasDateFormatter());
  ASSERT_TRUE(db->executeUpdate("delete from d"));
  ASSERT_TRUE(db->executeUpdate("insert into d values (?)", date));
  EXPECT_EQ(db->stringForQuery("select v from d").view(), "2001-02-03 04:05:06");
  EXPECT_EQ(db->dateForQuery("select v from d").timeIntervalSince1970(), 981173106);
  EXPECT_EQ(db->stringFromDate(date).view(), "2001-02-03 04:05:06");

  db->setDateFormat(std::nullopt);
  EXPECT_TRUE(db->dateFromString("2001-02-03 04:05:06").isAbsent());
  EXPECT_EQ(db->dateForQuery("select 86400").timeIntervalSince1970(), 86400);
}

}  // namespace
}  // namespace kiv
