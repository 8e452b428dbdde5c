#include "kiv/sqlite/database_queue.hpp"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <regex>
#include <stdexcept>

#include "kiv/testing/test_support.hpp"

namespace kiv {
namespace {

using testing::LogCapture;
using testing::TempDir;

TEST(SqTransactionTest, TransactionsAndSavePointsOnOneConnection) {
  Ref<SqDatabase> db = SqDatabase::databaseWithPath();
  ASSERT_TRUE(db->open() && db->executeUpdate("create table t (v)"));
  ASSERT_TRUE(db->beginTransaction());
  db->setLogsErrors(false);
  EXPECT_FALSE(db->beginDeferredTransaction());  // nested: fails, state unchanged
  EXPECT_TRUE(db->inTransaction());
  ASSERT_TRUE(db->executeUpdate("insert into t values (1)") && db->rollback());
  EXPECT_FALSE(db->inTransaction());

  ASSERT_TRUE(db->startSavePointWithName("it's"));
  ASSERT_TRUE(db->executeUpdate("insert into t values (2)"));
  ASSERT_TRUE(db->rollbackToSavePointWithName("it's") && db->releaseSavePointWithName("it's"));
  EXPECT_EQ(db->intForQuery("select count(*) from t"), 0);
  Error error;
  EXPECT_FALSE(db->releaseSavePointWithName("unknown", &error));
  EXPECT_EQ(error, (Error{"SqDatabase", 1, "no such savepoint: unknown"}));

  // Nested savepoints get consecutive names and roll back alone.
  db->setTraceExecution(true);
  LogCapture log;
  EXPECT_FALSE(db->inSavePoint([&](bool*) {
                   EXPECT_TRUE(db->executeUpdate("insert into t values (1)"));
                   EXPECT_FALSE(db->inSavePoint([&](bool* rollback) {
                                    EXPECT_TRUE(db->executeUpdate("insert into t values (2)"));
                                    *rollback = true;
                                  }).has_value());
                 }).has_value());
  EXPECT_EQ(db->intForQuery("select sum(v) from t"), 1);
  std::vector<long> numbers;
  const std::regex start(R"(executeUpdate: savepoint 'dbSavePoint(\d+)';)");
  for (const std::string& line : log.lines()) {
    std::smatch match;
    if (std::regex_search(line, match, start)) numbers.push_back(std::stol(match[1]));
  }
  ASSERT_EQ(numbers.size(), 2u);
  EXPECT_EQ(numbers[1], numbers[0] + 1);
}

class SqDatabaseQueueTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(queue, nullptr);
    queue->inDatabase([](SqDatabase* db) { ASSERT_TRUE(db->executeUpdate("create table t (v)")); });
  }
  int sum() {
    int total = -1;
    queue->inDatabase([&](SqDatabase* db) { total = db->intForQuery("select total(v) from t"); });
    return total;
  }

  TempDir dir;
  Ref<SqDatabaseQueue> queue = SqDatabaseQueue::databaseQueueWithPath(dir.file("queue.db"));
};

TEST_F(SqDatabaseQueueTest, TransactionsCommitUnlessRolledBack) {
  queue->inTransaction([](SqDatabase* db, bool*) { EXPECT_TRUE(db->executeUpdate("insert into t values (1)")); });
  queue->inDeferredTransaction([](SqDatabase* db, bool* rollback) {
    EXPECT_TRUE(db->executeUpdate("insert into t values (2)"));
    *rollback = true;
  });
  EXPECT_FALSE(queue->inSavePoint([](SqDatabase* db, bool* rollback) {
                      EXPECT_TRUE(db->executeUpdate("insert into t values (4)"));
                      *rollback = true;
                    }).has_value());
  EXPECT_EQ(sum(), 1);
}

// A block that throws is undone, and the queue and its connection go on as before.
TEST_F(SqDatabaseQueueTest, ABlockThatThrowsIsRolledBack) {
  EXPECT_THROW(queue->inTransaction([](SqDatabase* db, bool*) {
    EXPECT_TRUE(db->executeUpdate("insert into t values (8)"));
    throw std::runtime_error("failed midway");
  }),
               std::runtime_error);
  EXPECT_THROW(static_cast<void>(queue->inSavePoint([](SqDatabase* db, bool*) {
                 EXPECT_TRUE(db->executeUpdate("insert into t values (16)"));
                 throw std::runtime_error("failed midway");
               })),
               std::runtime_error);
  EXPECT_FALSE(queue->inDatabase([](SqDatabase& db) { return db.inTransaction(); }));
  EXPECT_EQ(sum(), 0);
  EXPECT_EQ(queue->inDatabase([](SqDatabase& db) { return db.intForQuery("select 1 + 1"); }), 2);
}

TEST_F(SqDatabaseQueueTest, WarnsAboutResultSetsLeftOpen) {
  LogCapture log;
  Ref<SqResultSet> leftOpen;
  queue->inDatabase([&](SqDatabase* db) { leftOpen = db->executeQuery("select * from t"); });
  EXPECT_TRUE(log.has("Warning: there is at least one open result set around after performing "
                      "[SqDatabaseQueue inDatabase:]"));
  EXPECT_NE(leftOpen->statement(), nullptr);
  queue->close();
  EXPECT_EQ(leftOpen->statement(), nullptr);
}

TEST_F(SqDatabaseQueueTest, ReopensAfterCloseWithTheSameFlags) {
  Ref<SqDatabaseQueue> readOnly = SqDatabaseQueue::databaseQueueWithPath(dir.file("queue.db"), SQLITE_OPEN_READONLY);
  readOnly->close();
  readOnly->inDatabase([](SqDatabase* db) {
    db->setLogsErrors(false);
    EXPECT_FALSE(db->executeUpdate("insert into t values (1)"));
    EXPECT_EQ(db->lastErrorCode(), SQLITE_READONLY);
  });

  LogCapture log;
  EXPECT_EQ(SqDatabaseQueue::databaseQueueWithPath(dir.file("missing/x.db")), nullptr);
  EXPECT_TRUE(log.has("Could not create database queue for path " + dir.file("missing/x.db")));
  queue->close();
  queue->setPath(dir.file("missing/x.db"));
  queue->inDatabase([](SqDatabase* db) { EXPECT_EQ(db, nullptr); });
  EXPECT_TRUE(log.has("SqDatabaseQueue could not reopen database for path " + dir.file("missing/x.db")));
}

TEST_F(SqDatabaseQueueTest, DatabaseClassMakesOnlyTheFirstConnection) {
  struct Custom : SqDatabase {
    using SqDatabase::SqDatabase;
    static Ref<SqDatabase> make(const String& path) { return makeRef<Custom>(path); }
  };
  Ref<SqDatabaseQueue> custom = SqDatabaseQueue::databaseQueueWithPath(String(), kSqDefaultOpenFlags, &Custom::make);
  custom->inDatabase([](SqDatabase* db) { EXPECT_NE(dynamic_cast<Custom*>(db), nullptr); });
  custom->close();
  custom->inDatabase([](SqDatabase* db) { EXPECT_EQ(dynamic_cast<Custom*>(db), nullptr); });

  bool ran = false;  // another queue may be used from inside a block
  queue->inDatabase([&](SqDatabase*) { custom->inDatabase([&](SqDatabase* db) { ran = db != nullptr; }); });
  EXPECT_TRUE(ran);
}

using SqDatabaseQueueDeathTest = SqDatabaseQueueTest;

TEST_F(SqDatabaseQueueDeathTest, ReentrantUseStopsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(queue->inDatabase([&](SqDatabase*) { queue->inDatabase([](SqDatabase*) {}); }),
               "currentSyncQueue != self && \"inDatabase: was called reentrantly on the same queue, which would "
               "lead to a deadlock\"");
  Ref<SqDatabaseQueue> other = SqDatabaseQueue::databaseQueueWithPath();
  EXPECT_DEATH(queue->inDatabase([&](SqDatabase*) {
                 other->inDatabase([&](SqDatabase*) { queue->inDatabase([](SqDatabase*) {}); });
               }),
               "inDatabase: was called reentrantly");
  EXPECT_DEATH(queue->inTransaction([&](SqDatabase*, bool*) { queue->inTransaction([](SqDatabase*, bool*) {}); }),
               "would lead to a deadlock");
}

TEST_F(SqDatabaseQueueDeathTest, CrashOnErrorsStopsAtAFailedPrepare) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  queue->inDatabase([](SqDatabase* db) { db->setCrashOnErrors(true); });
  EXPECT_DEATH(queue->inDatabase([](SqDatabase* db) { db->executeQuery("select * from missing"); }),
               "DB Error: 1 \"no such table: missing\"");
}

}  // namespace
}  // namespace kiv
