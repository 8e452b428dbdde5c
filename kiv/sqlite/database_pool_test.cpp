#include "kiv/sqlite/database_pool.hpp"

#include <gtest/gtest.h>

#include "kiv/testing/test_support.hpp"

namespace kiv {
namespace {

using testing::LogCapture;
using testing::TempDir;

class CountingDelegate : public SqDatabasePoolDelegate {
 public:
  std::optional<bool> databasePoolShouldAddDatabaseToPool(SqDatabasePool&, SqDatabase&) override {
    ++asked;
    return allow;
  }
  bool databasePoolDidAddDatabase(SqDatabasePool&, SqDatabase&) override {
    ++added;
    return true;
  }
  bool allow = true;
  int asked = 0;
  int added = 0;
};

class SqDatabasePoolTest : public ::testing::Test {
 protected:
  void expectCounts(std::size_t in, std::size_t out) {
    EXPECT_EQ(pool->countOfCheckedInDatabases(), in);
    EXPECT_EQ(pool->countOfCheckedOutDatabases(), out);
    EXPECT_EQ(pool->countOfOpenDatabases(), in + out);
  }

  TempDir dir;
  Ref<SqDatabasePool> pool = SqDatabasePool::databasePoolWithPath(dir.file("pool.db"));
};

TEST_F(SqDatabasePoolTest, ReusesIdleConnections) {
  expectCounts(0, 0);
  SqDatabase* first = nullptr;
  pool->inDatabase([&](SqDatabase* db) {
    first = db;
    expectCounts(0, 1);
    ASSERT_TRUE(db->executeUpdate("create table t (v)"));
  });
  pool->inDatabase([&](SqDatabase* db) { EXPECT_EQ(db, first); });
  expectCounts(1, 0);

  // A block may use the pool again: it gets a second connection to the same file.
  pool->inDatabase([&](SqDatabase* outer) {
    pool->inDatabase([&](SqDatabase* inner) {
      EXPECT_NE(inner, outer);
      EXPECT_TRUE(inner->tableExists("t"));
    });
  });
  expectCounts(2, 0);
}

TEST_F(SqDatabasePoolTest, MaximumLimitsTheConnections) {
  pool->setMaximumNumberOfDatabasesToCreate(1);
  LogCapture log;
  pool->inDatabase([&](SqDatabase* outer) {
    ASSERT_NE(outer, nullptr);
    pool->inDatabase([&](SqDatabase* inner) { EXPECT_EQ(inner, nullptr); });
  });
  EXPECT_TRUE(log.has("Maximum number of databases (1) has already been reached!"));
  expectCounts(1, 0);
}

TEST_F(SqDatabasePoolTest, DelegateVetoesAndHearsOfNewConnections) {
  CountingDelegate delegate;
  pool->setDelegate(&delegate);
  pool->inDatabase([](SqDatabase* db) { EXPECT_NE(db, nullptr); });
  pool->inDatabase([](SqDatabase* db) { EXPECT_NE(db, nullptr); });
  EXPECT_EQ(delegate.asked, 2);
  EXPECT_EQ(delegate.added, 1);

  // A refused idle connection is closed and stays counted as checked out.
  delegate.allow = false;
  pool->inDatabase([](SqDatabase* db) { EXPECT_EQ(db, nullptr); });
  expectCounts(0, 1);
  pool->inDatabase([](SqDatabase* db) { EXPECT_EQ(db, nullptr); });
  EXPECT_EQ(delegate.added, 1);
  pool->setDelegate(nullptr);
}

TEST_F(SqDatabasePoolTest, OpenFailuresHandNothing) {
  pool->setPath(dir.file("missing/pool.db"));
  LogCapture log;
  pool->inDatabase([](SqDatabase* db) { EXPECT_EQ(db, nullptr); });
  EXPECT_TRUE(log.has("Could not open up the database at path " + dir.file("missing/pool.db")));
  expectCounts(0, 0);
}

TEST_F(SqDatabasePoolTest, CheckInRulesAndRelease) {
  Ref<SqDatabase> db = pool->db();
  ASSERT_NE(db, nullptr);
  pool->pushDatabaseBackInPool(db);
  try {
    pool->pushDatabaseBackInPool(db);
    FAIL() << "no exception";
  } catch (const Exception& e) {
    EXPECT_EQ(e.name(), "Database already in pool");
    EXPECT_EQ(e.reason(), "The SqDatabase being put back into the pool is already present in the pool");
  }
  pool->pushDatabaseBackInPool(nullptr);
  expectCounts(1, 0);

  Ref<SqDatabase> held = pool->db();
  pool->releaseAllDatabases();
  expectCounts(0, 0);
  pool->pushDatabaseBackInPool(held);
  expectCounts(1, 0);
}

TEST_F(SqDatabasePoolTest, TransactionsAndSavePoints) {
  pool->inDatabase([](SqDatabase* db) { ASSERT_TRUE(db->executeUpdate("create table t (v)")); });
  pool->inTransaction([](SqDatabase* db, bool*) { db->executeUpdate("insert into t values (1)"); });
  pool->inDeferredTransaction([](SqDatabase* db, bool* rollback) {
    db->executeUpdate("insert into t values (2)");
    *rollback = true;
  });
  EXPECT_FALSE(pool->inSavePoint([](SqDatabase* db, bool* rollback) {
    db->executeUpdate("insert into t values (3)");
    *rollback = true;
  }).has_value());
  pool->inDatabase([](SqDatabase* db) { EXPECT_EQ(db->intForQuery("select sum(v) from t"), 1); });
  expectCounts(1, 0);
}

}  // namespace
}  // namespace kiv
