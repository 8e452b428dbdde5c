#include "kiv/sqlite/database_queue.hpp"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <regex>

#include "kiv/testing/test_support.hpp"

namespace kiv {
namespace {

using testing::LogCapture;
using testing::TempDir;

class SqTransactionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(db->open());
    ASSERT_TRUE(db->executeUpdate("create table t (v)"));
  }
  int rows() { return db->intForQuery("select count(*) from t"); }

  Ref<SqDatabase> db = SqDatabase::databaseWithPath();
};

TEST_F(SqTransactionTest, TransactionsTrackTheirState) {
  ASSERT_TRUE(db->beginTransaction());
  EXPECT_TRUE(db->inTransaction());
  db->setLogsErrors(false);
  EXPECT_FALSE(db->beginDeferredTransaction());  // nested: fails, state unchanged
  EXPECT_TRUE(db->inTransaction());
  ASSERT_TRUE(db->executeUpdate("insert into t values (1)"));
  ASSERT_TRUE(db->rollback());
  EXPECT_FALSE(db->inTransaction());
  EXPECT_EQ(rows(), 0);
  ASSERT_TRUE(db->beginDeferredTransaction());
  ASSERT_TRUE(db->executeUpdate("insert into t values (1)"));
  ASSERT_TRUE(db->commit());
  EXPECT_FALSE(db->inTransaction());
  EXPECT_EQ(rows(), 1);
  EXPECT_FALSE(db->commit());
}

TEST_F(SqTransactionTest, SavePointsQuoteTheirNamesAndReportFailures) {
  ASSERT_TRUE(db->startSavePointWithName("it's"));
  ASSERT_TRUE(db->executeUpdate("insert into t values (1)"));
  ASSERT_TRUE(db->rollbackToSavePointWithName("it's"));
  ASSERT_TRUE(db->releaseSavePointWithName("it's"));
  EXPECT_EQ(rows(), 0);

  db->setLogsErrors(false);
  Error error;
  EXPECT_FALSE(db->releaseSavePointWithName("unknown", &error));
  EXPECT_EQ(error, (Error{"SqDatabase", 1, "no such savepoint: unknown"}));
}

TEST_F(SqTransactionTest, NestedSavePointsGetConsecutiveNamesAndRollBackAlone) {
  db->setTraceExecution(true);
  LogCapture log;
  const std::optional<Error> error = db->inSavePoint([&](bool*) {
    db->executeUpdate("insert into t values (1)");
    db->inSavePoint([&](bool* rollback) {
      db->executeUpdate("insert into t values (2)");
      *rollback = true;
    });
  });
  EXPECT_FALSE(error.has_value());
  EXPECT_EQ(db->intForQuery("select sum(v) from t"), 1);

  // The names count up from one process-wide counter.
  std::vector<long> numbers;
  const std::regex savepoint(R"(executeUpdate: savepoint 'dbSavePoint(\d+)';)");
  for (const std::string& line : log.lines()) {
    std::smatch match;
    if (std::regex_search(line, match, savepoint)) numbers.push_back(std::stol(match[1]));
  }
  ASSERT_EQ(numbers.size(), 2u);
  EXPECT_EQ(numbers[1], numbers[0] + 1);
}

class SqDatabaseQueueTest : public ::testing::Test {
 protected:
  void SetUp() override {
    queue = SqDatabaseQueue::databaseQueueWithPath(dir.file("queue.db"));
    ASSERT_NE(queue, nullptr);
    queue->inDatabase([](SqDatabase* db) { ASSERT_TRUE(db->executeUpdate("create table t (v)")); });
  }
  int rows() {
    int count = -1;
    queue->inDatabase([&](SqDatabase* db) { count = db->intForQuery("select count(*) from t"); });
    return count;
  }

  TempDir dir;
  Ref<SqDatabaseQueue> queue;
};

TEST_F(SqDatabaseQueueTest, TransactionsCommitUnlessRolledBack) {
  queue->inTransaction([](SqDatabase* db, bool*) {
    EXPECT_TRUE(db->inTransaction());
    db->executeUpdate("insert into t values (1)");
  });
  queue->inDeferredTransaction([](SqDatabase* db, bool* rollback) {
    db->executeUpdate("insert into t values (2)");
    *rollback = true;
  });
  EXPECT_EQ(rows(), 1);

  EXPECT_FALSE(queue->inSavePoint([](SqDatabase* db, bool* rollback) {
    db->executeUpdate("insert into t values (3)");
    *rollback = true;
  }).has_value());
  EXPECT_EQ(rows(), 1);
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
  ASSERT_NE(readOnly, nullptr);
  EXPECT_EQ(readOnly->openFlags(), SQLITE_OPEN_READONLY);
  readOnly->close();
  readOnly->inDatabase([](SqDatabase* db) {
    ASSERT_NE(db, nullptr);
    db->setLogsErrors(false);
    EXPECT_FALSE(db->executeUpdate("insert into t values (1)"));
    EXPECT_EQ(db->lastErrorCode(), SQLITE_READONLY);
  });

  // A path that cannot be reopened hands the block nothing.
  queue->close();
  queue->setPath(dir.file("gone/queue.db"));
  LogCapture log;
  queue->inDatabase([](SqDatabase* db) { EXPECT_EQ(db, nullptr); });
  EXPECT_TRUE(log.has("SqDatabaseQueue could not reopen database for path " + dir.file("gone/queue.db")));
}

TEST_F(SqDatabaseQueueTest, CreationFailsWhenTheFileDoesNotOpen) {
  LogCapture log;
  EXPECT_EQ(SqDatabaseQueue::databaseQueueWithPath(dir.file("missing/x.db")), nullptr);
  EXPECT_TRUE(log.has("Could not create database queue for path " + dir.file("missing/x.db")));
}

TEST_F(SqDatabaseQueueTest, DatabaseClassMakesTheFirstConnection) {
  struct Custom : SqDatabase {
    using SqDatabase::SqDatabase;
    static Ref<SqDatabase> make(const String& path) { return makeRef<Custom>(path); }
  };
  Ref<SqDatabaseQueue> custom = SqDatabaseQueue::databaseQueueWithPath(String(), kSqDefaultOpenFlags, &Custom::make);
  ASSERT_NE(custom, nullptr);
  custom->inDatabase([](SqDatabase* db) { EXPECT_NE(dynamic_cast<Custom*>(db), nullptr); });
  custom->close();
  custom->inDatabase([](SqDatabase* db) { EXPECT_EQ(dynamic_cast<Custom*>(db), nullptr); });
}

TEST_F(SqDatabaseQueueTest, AnotherQueueMayBeUsedFromInsideABlock) {
  Ref<SqDatabaseQueue> other = SqDatabaseQueue::databaseQueueWithPath();
  bool ran = false;
  queue->inDatabase([&](SqDatabase*) { other->inDatabase([&](SqDatabase* db) { ran = db != nullptr; }); });
  EXPECT_TRUE(ran);
}

using SqDatabaseQueueDeathTest = SqDatabaseQueueTest;

TEST_F(SqDatabaseQueueDeathTest, ReentrantUseStopsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const char* assertion =
      "currentSyncQueue != self && \"inDatabase: was called reentrantly on the same queue, which would lead to a "
      "deadlock\"";
  EXPECT_DEATH(queue->inDatabase([&](SqDatabase*) { queue->inDatabase([](SqDatabase*) {}); }),
               assertion);
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
