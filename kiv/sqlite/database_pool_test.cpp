#include "kiv/sqlite/database_pool.hpp"

#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>

#include "kiv/testing/test_support.hpp"

namespace kiv {
namespace {

using testing::LogCapture;
using testing::TempDir;

class CountingDelegate : public SqDatabasePoolDelegate {
 public:
  std::optional<bool> databasePoolShouldAddDatabaseToPool(SqDatabasePool&, SqDatabase&) override { return allow; }
  bool databasePoolDidAddDatabase(SqDatabasePool&, SqDatabase&) override { return ++added; }
  bool allow = true;
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

TEST_F(SqDatabasePoolTest, ReusesIdleConnectionsAndNestsWithNewOnes) {
  SqDatabase* first = nullptr;
  pool->inDatabase([&](SqDatabase* db) {
    first = db;
    expectCounts(0, 1);
  });
  pool->inDatabase([&](SqDatabase* db) { EXPECT_EQ(db, first); });
  expectCounts(1, 0);
  pool->inDatabase([&](SqDatabase* outer) {
    pool->inDatabase([&](SqDatabase* inner) { EXPECT_NE(inner, outer); });
  });
  expectCounts(2, 0);

  pool->setMaximumNumberOfDatabasesToCreate(2);
  LogCapture log;
  pool->inDatabase([&](SqDatabase*) {
    pool->inDatabase([&](SqDatabase*) { pool->inDatabase([&](SqDatabase* third) { EXPECT_EQ(third, nullptr); }); });
  });
  EXPECT_TRUE(log.has("Maximum number of databases (2) has already been reached!"));
}

TEST_F(SqDatabasePoolTest, DelegateVetoesAndHearsOfNewConnections) {
  CountingDelegate delegate;
  pool->setDelegate(&delegate);
  pool->inDatabase([](SqDatabase* db) { EXPECT_NE(db, nullptr); });
  pool->inDatabase([](SqDatabase* db) { EXPECT_NE(db, nullptr); });
  EXPECT_EQ(delegate.added, 1);

  // A refused idle connection is closed and stays counted as checked out.
  delegate.allow = false;
  pool->inDatabase([](SqDatabase* db) { EXPECT_EQ(db, nullptr); });
  expectCounts(0, 1);
  pool->inDatabase([](SqDatabase* db) { EXPECT_EQ(db, nullptr); });
  EXPECT_EQ(delegate.added, 1);
  pool->setDelegate(nullptr);

  pool->setPath(dir.file("missing/pool.db"));
  LogCapture log;
  EXPECT_EQ(pool->db(), nullptr);
  EXPECT_TRUE(log.has("Could not open up the database at path " + dir.file("missing/pool.db")));
}

TEST_F(SqDatabasePoolTest, CheckInRulesAndRelease) {
  Ref<SqDatabase> db = pool->db();
  pool->pushDatabaseBackInPool(db);
  try {
    pool->pushDatabaseBackInPool(db);
    ADD_FAILURE() << "no exception";
  } catch (const Exception& e) {
    EXPECT_EQ(e.name(), "Database already in pool");
    EXPECT_EQ(e.reason(), "The SqDatabase being put back into the pool is already present in the pool");
  }
  expectCounts(1, 0);

  Ref<SqDatabase> held = pool->db();
  pool->releaseAllDatabases();
  expectCounts(0, 0);
  pool->pushDatabaseBackInPool(held);
  expectCounts(1, 0);
}

TEST_F(SqDatabasePoolTest, ABlockThatThrowsGivesItsConnectionBackAndCallablesReturnTheirResults) {
  EXPECT_THROW(pool->inDatabase([](SqDatabase*) { throw std::runtime_error("failed"); }), std::runtime_error);
  expectCounts(1, 0);
  EXPECT_EQ(pool->inDatabase([](SqDatabase& db) { return db.intForQuery("select 6 * 7"); }), std::optional<int>(42));
  pool->setMaximumNumberOfDatabasesToCreate(1);
  pool->inDatabase([&](SqDatabase*) {
    EXPECT_EQ(pool->inDatabase([](SqDatabase& db) { return db.intForQuery("select 1"); }), std::nullopt);
    EXPECT_FALSE(pool->inDatabase([](SqDatabase&) {}));
  });
}

TEST_F(SqDatabasePoolTest, TransactionsAndSavePoints) {
  pool->inDatabase([](SqDatabase* db) { ASSERT_TRUE(db->executeUpdate("create table t (v)")); });
  pool->inTransaction([](SqDatabase* db, bool*) { EXPECT_TRUE(db->executeUpdate("insert into t values (1)")); });
  EXPECT_FALSE(pool->inSavePoint([](SqDatabase* db, bool* rollback) {
                     EXPECT_TRUE(db->executeUpdate("insert into t values (4)"));
                     *rollback = true;
                   }).has_value());
  pool->inDatabase([](SqDatabase* db) { EXPECT_EQ(db->intForQuery("select sum(v) from t"), 1); });
  expectCounts(1, 0);
}

}  // namespace
}  // namespace kiv
