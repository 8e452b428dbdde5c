#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "kiv/sqlite/database_pool.hpp"
#include "kiv/testing/test_support.hpp"

namespace kiv {
namespace {

// Writers on their own connections contend through SQLite's file locks; the busy handler makes
// each wait for the others' exclusive transactions instead of failing.
TEST(SqDatabasePoolConcurrencyTest, ConnectionsContendThroughFileLocks) {
  testing::TempDir dir;
  Ref<SqDatabasePool> pool = SqDatabasePool::databasePoolWithPath(dir.file("pool.db"));
  pool->inDatabase([](SqDatabase* db) { ASSERT_TRUE(db->executeUpdate("create table t (thread, n)")); });

  constexpr int kThreads = 4;
  constexpr int kTransactions = 20;
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int n = 0; n < kTransactions; ++n) {
        pool->inTransaction([&](SqDatabase* db, bool*) {
          if (!db || !db->inTransaction()) {
            ++failures;
            return;
          }
          for (int row = 0; row < 5; ++row) {
            if (!db->executeUpdate("insert into t values (?, ?)", t, n)) ++failures;
          }
        });
        pool->inDatabase([&](SqDatabase* db) {
          if (db->intForQuery("select count(*) from t where thread = ?", t) != (n + 1) * 5) ++failures;
        });
      }
    });
  }
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(failures.load(), 0);
  EXPECT_EQ(pool->countOfCheckedOutDatabases(), 0u);
  EXPECT_LE(pool->countOfOpenDatabases(), static_cast<std::size_t>(kThreads));
  pool->inDatabase([](SqDatabase* db) { EXPECT_EQ(db->intForQuery("select count(*) from t"), 4 * 20 * 5); });
}

// A reader that finds the file locked waits for the writer's commit.
TEST(SqDatabasePoolConcurrencyTest, BusyHandlerWaitsForTheLockHolder) {
  testing::TempDir dir;
  Ref<SqDatabasePool> pool = SqDatabasePool::databasePoolWithPath(dir.file("pool.db"));
  pool->inDatabase([](SqDatabase* db) { ASSERT_TRUE(db->executeUpdate("create table t (v)")); });

  std::atomic<bool> locked{false};
  std::thread writer([&] {
    pool->inTransaction([&](SqDatabase* db, bool*) {
      EXPECT_TRUE(db->executeUpdate("insert into t values (1)"));
      locked = true;
      std::this_thread::sleep_for(std::chrono::milliseconds(200));
    });
  });
  while (!locked) std::this_thread::yield();
  int seen = -1;
  pool->inDatabase([&](SqDatabase* db) { seen = db->intForQuery("select count(*) from t"); });
  writer.join();
  EXPECT_EQ(seen, 1);
}

}  // namespace
}  // namespace kiv
